#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

namespace platform {

// Limits of a feed. The feed's host controls its bytes, so they are checked before anything is made of them.
namespace appcast {
constexpr qint64 largestFeed = 512 * 1024;             // bytes
constexpr int maxNesting = 16;                         // nested elements
constexpr qsizetype longestTag = 4096;                 // characters, attributes included
constexpr qsizetype longestField = 256;                // characters; notes have their own limit
constexpr qsizetype longestNotes = 32768;              // characters, the rest is cut off
constexpr qint64 largestPackage = 128ll * 1024 * 1024; // bytes
} // namespace appcast

// One release as the feed states it. Only what the signature covers is trusted.
struct AppcastItem {
    QString versionString;        // the build number, which decides what is newer
    QString displayVersionString; // what people read: the package's version without its revision
    QString itemDescription;      // the release notes; may be empty
    bool descriptionIsHtml = true;
    QString minimumSystemVersion; // of the kernel; empty for any
    QString operatingSystem;      // empty for any
    QString channel;              // empty for the default channel
    QUrl url;
    qint64 contentLength = 0; // bytes
    QByteArray signature;     // Ed25519 of the whole file, decoded; empty for an unsigned one
};

// Reads an RSS feed with the elements of Sparkle's namespace. Throws UpdateError if the text is not such a
// feed, exceeds a limit or declares a document type, since a feed needs no entities. Any thread.
QList<AppcastItem> readAppcast(const QByteArray& feed);

// The running program, with which the releases of a feed are compared.
struct UpdateHost {
    QString versionString;
    QString displayVersionString;
    QString kernelVersion;
};

// Returns the newest release that is meant for the host and newer than it by both of its versions. Any
// thread.
std::optional<AppcastItem> bestUpdate(const QList<AppcastItem>& items, const UpdateHost& host);

} // namespace platform
