#include "Platform/Update/DebianPackage.h"

#include "Platform/Update/UpdateError.h"
#include "Platform/Update/UpdateVersion.h"

#include <QProcess>

#include <unistd.h>

namespace platform {

namespace {

constexpr int readingTimeout = 30'000; // ms

// Returns the output of a dpkg program, which reads `input` as its standard input if that is a descriptor.
// Returns nullopt if it fails.
std::optional<QString> dpkgOutput(const QString& program, const QStringList& arguments, int input = -1) {
    QProcess reader;
    if (input >= 0) {
        reader.setChildProcessModifier([input] { ::dup2(input, STDIN_FILENO); });
    }
    reader.start(program, arguments, QIODevice::ReadOnly);
    if (!reader.waitForStarted()) {
        throw UpdateError(
            UpdateError::badPackage,
            QStringLiteral("The update is a Debian package, and this system has no dpkg to read "
                           "it. Get the new version from where you got this one."));
    }
    if (!reader.waitForFinished(readingTimeout)) {
        reader.kill();
        reader.waitForFinished();
        return std::nullopt;
    }
    const bool succeeded = reader.exitStatus() == QProcess::NormalExit && reader.exitCode() == 0;
    return succeeded ? std::optional(QString::fromUtf8(reader.readAllStandardOutput())) : std::nullopt;
}

QString packageField(const QString& description, const QString& name) {
    for (const auto& line : description.split(u'\n')) {
        if (line.startsWith(name + u':')) {
            return line.sliced(name.size() + 1).trimmed();
        }
    }
    return {};
}

} // namespace

DebianPackage readDebianPackage(int descriptor) {
    const auto description = dpkgOutput(QStringLiteral("dpkg-deb"),
                                        {QStringLiteral("--field"), QStringLiteral("/proc/self/fd/0"),
                                         QStringLiteral("Package"), QStringLiteral("Version")},
                                        descriptor)
                                 .value_or(QString());
    const DebianPackage package{packageField(description, QStringLiteral("Package")),
                                packageField(description, QStringLiteral("Version"))};
    if (package.name.isEmpty() || !isVersion(package.version)) {
        throw UpdateError(
            UpdateError::badPackage,
            QStringLiteral("The update is not a Debian package, so it was not kept. Contact the "
                           "administrator of the update server."));
    }
    return package;
}

void requireUpgrade(const DebianPackage& package, const QString& name) {
    if (package.name != name) {
        throw UpdateError(UpdateError::badPackage,
                          QStringLiteral("The update is a package of another program (%1), so it was thrown "
                                         "away. Contact the administrator of the update server.")
                              .arg(package.name.left(64)));
    }
    const auto installed =
        dpkgOutput(QStringLiteral("dpkg-query"),
                   {QStringLiteral("--show"), QStringLiteral("--showformat=${Version}"), name});
    if (installed && compareVersions(package.version, *installed) <= 0) {
        throw UpdateError(UpdateError::badPackage,
                          QStringLiteral("The update holds version %1, which is not newer than %2, so it was "
                                         "thrown away. Contact the administrator of the update server.")
                              .arg(package.version, *installed));
    }
}

} // namespace platform
