#include "Platform/Desktop/ApplicationInfo.h"
#include "Platform/Update/Appcast.h"
#include "Platform/Update/DebianPackage.h"
#include "Platform/Update/UpdateError.h"
#include "Platform/Update/UpdateKey.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

namespace corvane {

namespace {

using namespace platform;

UpdateError noPlace(const QString& reason) {
    return {
        UpdateError::installationFailed,
        QStringLiteral("The update could not be stored on the disk (%1). Free some space, then try again.")
            .arg(reason)};
}

// The file behind the standard input may be changed while it is read, so only this copy is used.
void copyInput(QFile& to) {
    QFile input;
    ::lseek(STDIN_FILENO, 0, SEEK_SET);
    if (!input.open(STDIN_FILENO, QIODevice::ReadOnly | QIODevice::Unbuffered) ||
        !to.open(QIODevice::ReadWrite)) {
        throw noPlace(to.errorString());
    }
    constexpr qint64 pieceSize = 1024 * 1024; // bytes
    while (to.size() <= appcast::largestPackage) {
        const auto piece = input.read(pieceSize);
        if (piece.isEmpty()) {
            break;
        }
        if (to.write(piece) != piece.size() || !to.flush()) {
            throw noPlace(to.errorString());
        }
    }
}

void inspect(const QFile& package, const QString& signature) {
    const auto info =
        ApplicationInfo::load(QStringLiteral("application-info.json"), QStringLiteral("corvane-lumetra"),
                              "CORVANE_APPLICATION_INFO", {QStringLiteral("SUPublicEDKey")});
    const UpdateKey key(info.string(QStringLiteral("SUPublicEDKey")).value_or(QString()));
    key.requireSignature(package.handle(), QByteArray::fromBase64(signature.toLatin1()));
    requireUpgrade(readDebianPackage(package.handle()), QStringLiteral("corvane-lumetra"));
}

int install(const QString& path) {
    QProcess packages;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DEBIAN_FRONTEND"), QStringLiteral("noninteractive"));
    packages.setProcessEnvironment(environment);
    packages.setProcessChannelMode(QProcess::ForwardedChannels);
    packages.setStandardInputFile(QProcess::nullDevice());
    packages.start(QStringLiteral("apt-get"),
                   {QStringLiteral("--yes"), QStringLiteral("--no-remove"), QStringLiteral("--option"),
                    QStringLiteral("DPkg::Lock::Timeout=60"), QStringLiteral("install"), path});
    return packages.waitForFinished(-1) && packages.exitStatus() == QProcess::NormalExit ? packages.exitCode()
                                                                                         : 1;
}

} // namespace

} // namespace corvane

using namespace corvane;

// Runs as root, after the user has authorised it, and installs an update. The package comes on the standard
// input, its signature in base64 as the argument. Neither is trusted before the bytes are in a folder that
// only root can write to.
int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    ::umask(S_IRWXG | S_IRWXO);
    const auto arguments = QCoreApplication::arguments();
    try {
        const QTemporaryDir folder(QStringLiteral("/var/tmp/corvane-lumetra-XXXXXX"));
        QFile package(folder.filePath(QStringLiteral("corvane-lumetra.deb")));
        copyInput(package);
        inspect(package, arguments.value(1));
        return install(package.fileName());
    } catch (const UpdateError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
