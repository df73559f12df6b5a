#include "Platform/Update/DebianPackage.h"

#include "Platform/Update/UpdateError.h"

#include <QProcess>

namespace platform {

namespace {

constexpr int readingTimeout = 30'000; // ms

} // namespace

QString debianPackageVersion(const QString& path) {
    QProcess reader;
    reader.start(QStringLiteral("dpkg-deb"), {QStringLiteral("--field"), path, QStringLiteral("Version")},
                 QIODevice::ReadOnly);
    if (!reader.waitForStarted()) {
        throw UpdateError(
            UpdateError::badPackage,
            QStringLiteral("The update is a Debian package, and this system has no dpkg to read "
                           "it. Get the new version from where you got this one."));
    }
    const bool read = reader.waitForFinished(readingTimeout) && reader.exitStatus() == QProcess::NormalExit &&
                      reader.exitCode() == 0;
    auto version = QString::fromUtf8(reader.readAllStandardOutput()).trimmed();
    if (!read || version.isEmpty()) {
        reader.kill();
        throw UpdateError(UpdateError::badPackage,
                          QStringLiteral("The update is no Debian package, so it was not kept. Tell who runs "
                                         "the update server."));
    }
    version = version.section(u':', -1);
    return version.contains(u'-') ? version.section(u'-', 0, -2) : version;
}

} // namespace platform
