#pragma once

#include <QMap>
#include <QString>

namespace corvane {

// The applications that host the calls of a meeting service, by bundle identifier.
class InterviewDetectorService {
public:
    // A browser is listed for the service that has no application of its own; it may host a meeting, no more.
    const QMap<QString, QString> meetingApps{
        {QStringLiteral("us.zoom.xos"), QStringLiteral("Zoom")},
        {QStringLiteral("com.microsoft.teams"), QStringLiteral("Microsoft Teams")},
        {QStringLiteral("com.microsoft.teams2"), QStringLiteral("Microsoft Teams")},
        {QStringLiteral("com.google.Chrome"), QStringLiteral("Google Meet")},
        {QStringLiteral("com.brave.Browser"), QStringLiteral("Google Meet")},
        {QStringLiteral("com.apple.Safari"), QStringLiteral("Google Meet")},
        {QStringLiteral("org.mozilla.firefox"), QStringLiteral("Google Meet")},
        {QStringLiteral("com.tinyspeck.slackmacgap"), QStringLiteral("Slack")},
        {QStringLiteral("com.cisco.webexmeetingsapp"), QStringLiteral("Webex")},
        {QStringLiteral("com.cisco.webex.meetings"), QStringLiteral("Webex")},
        {QStringLiteral("com.hammerandchisel.discord"), QStringLiteral("Discord")},
        {QStringLiteral("com.hnc.Discord"), QStringLiteral("Discord")},
        {QStringLiteral("com.skype.skype"), QStringLiteral("Skype")},
        {QStringLiteral("com.gotomeeting"), QStringLiteral("GoToMeeting")},
        {QStringLiteral("com.logmein.gotomeeting"), QStringLiteral("GoToMeeting")},
        {QStringLiteral("com.BlueJeans.BlueJeans"), QStringLiteral("BlueJeans")},
        {QStringLiteral("com.ringcentral.glip"), QStringLiteral("RingCentral")},
    };
};

} // namespace corvane
