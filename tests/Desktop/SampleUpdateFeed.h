#pragma once

#include "Platform/Desktop/ApplicationInfo.h"

// A program that looks for updates, and a feed with a newer version than its own.
inline platform::ApplicationInfo updatableInfo() {
    return platform::ApplicationInfo({{"CFBundleShortVersionString", "0.1.0"},
                                      {"CFBundleVersion", "1"},
                                      {"CLERK_PUBLISHABLE_KEY", "pk_live_Y2xlcmsubHVtZXRyYS50ZXN0JA=="},
                                      {"CORVANE_DEFAULT_ENDPOINT", "https://backend.lumetra.test"},
                                      {"SUFeedURL", "https://updates.lumetra.test/update/appcast.xml"},
                                      {"SUPublicEDKey", "ack+ZdGSst6FVRag6K3nXO3fz3tY0hetIWJ+vpdI4Vw="}});
}

inline const QByteArray updateFeed =
    "<rss xmlns:sparkle='http://www.andymatuschak.org/xml-namespaces/sparkle'><channel><item>"
    "<sparkle:version>2</sparkle:version>"
    "<sparkle:shortVersionString>0.2.0</sparkle:shortVersionString>"
    "<description><![CDATA[<h2>New</h2><ul><li>Candidates are heard at once.</li></ul>"
    "<script>alert(1)</script><img src='https://a.test/x.png'>]]></description>"
    "<enclosure url='https://updates.lumetra.test/corvane.deb' length='9' sparkle:edSignature='c2ln'/>"
    "</item></channel></rss>";
