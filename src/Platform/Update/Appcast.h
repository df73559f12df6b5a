#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

namespace platform {

// One release of a feed, as the feed states it: nothing in it is trusted but what the signature covers.
struct AppcastItem {
    QString versionString;        // the machine's, which decides what is newer
    QString displayVersionString; // what people read
    QString itemDescription;      // the release's notes, empty without any
    bool descriptionIsHtml = true;
    QString minimumSystemVersion; // of the kernel; empty for any
    QString operatingSystem;      // empty for any
    QString channel;              // empty for everybody's
    QUrl url;
    qint64 contentLength = 0; // bytes
    QByteArray signature;     // Ed25519 of the whole file, decoded; empty for an unsigned one
};

// Reads an RSS feed with the elements of Sparkle's namespace. Throws UpdateError for a text that is no such
// feed, or that declares a document type: entities have no place in it.
QList<AppcastItem> readAppcast(const QByteArray& feed);

// The running program, as a feed's releases are measured against it.
struct UpdateHost {
    QString versionString;
    QString displayVersionString;
    QString kernelVersion;
};

// The newest of the releases that is newer than the host and meant for it.
std::optional<AppcastItem> bestUpdate(const QList<AppcastItem>& items, const UpdateHost& host);

} // namespace platform
