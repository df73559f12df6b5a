#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

namespace platform {

// What a feed may hold. Whoever controls the feed's host decides on its bytes, so they are bounded before
// anything is made of them.
namespace appcast {
constexpr qint64 largestFeed = 512 * 1024;             // bytes
constexpr int maxNesting = 16;                         // elements within each other
constexpr qsizetype longestTag = 4096;                 // characters, attributes included
constexpr qsizetype longestField = 256;                // characters; the notes' are their own
constexpr qsizetype longestNotes = 32768;              // characters, the rest is cut off
constexpr qint64 largestPackage = 512ll * 1024 * 1024; // bytes
} // namespace appcast

// One release of a feed, as the feed states it: nothing in it is trusted but what the signature covers.
struct AppcastItem {
    QString versionString;        // the machine's, which decides what is newer
    QString displayVersionString; // what people read: the package's version without its revision
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
// feed, that is over one of the limits, or that declares a document type: entities have no place in it. Any
// thread.
QList<AppcastItem> readAppcast(const QByteArray& feed);

// The running program, as a feed's releases are measured against it.
struct UpdateHost {
    QString versionString;
    QString displayVersionString;
    QString kernelVersion;
};

// The newest of the releases that is meant for the host and newer than it, by both of its versions. Any
// thread.
std::optional<AppcastItem> bestUpdate(const QList<AppcastItem>& items, const UpdateHost& host);

} // namespace platform
