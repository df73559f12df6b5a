#include "Platform/Update/PackageInstaller.h"

#include "Platform/Core/Completion.h"
#include "Platform/Update/UpdatePackage.h"

#include <QProcess>
#include <QStandardPaths>

#include <unistd.h>

namespace platform {

namespace {

using Outcome = PackageInstaller::Outcome;

// Exit statuses of pkexec itself, from its manual page.
constexpr int dismissed = 126;
constexpr int notAuthorized = 127;

PackageInstaller::Result toResult(int status, const QByteArray& said) {
    switch (status) {
    case 0:
        return {Outcome::installed};
    case dismissed:
        return {Outcome::declined};
    case notAuthorized:
        return {Outcome::unavailable};
    default:
        // The last line is the reason; the lines above it are the package manager's.
        return {Outcome::failed, QString::fromUtf8(said).trimmed().section(u'\n', -1)};
    }
}

class PrivilegedInstaller : public PackageInstaller {
public:
    explicit PrivilegedInstaller(QString helper)
        : m_helper(std::move(helper)) {}

    QCoro::Task<Result> install(std::shared_ptr<UpdatePackage> package, QByteArray signature) override {
        const auto asker = QStandardPaths::findExecutable(QStringLiteral("pkexec"));
        if (asker.isEmpty() || !QFile::exists(m_helper)) {
            co_return Result{Outcome::unavailable};
        }
        const Completion<Result> done;
        // Without a parent, because its destructor would end the installation.
        auto* process = new QProcess;
        process->setStandardOutputFile(QProcess::nullDevice());
        process->setChildProcessModifier([input = package->descriptor()] {
            ::setsid();
            ::dup2(input, STDIN_FILENO);
        });
        QObject::connect(process, &QProcess::finished, process, [process, done](int status) {
            const bool crashed = process->exitStatus() == QProcess::CrashExit;
            done.resolve(toResult(crashed ? -1 : status, process->readAllStandardError()));
            process->deleteLater();
        });
        QObject::connect(process, &QProcess::errorOccurred, process,
                         [process, done](QProcess::ProcessError e) {
                             if (e == QProcess::FailedToStart) {
                                 done.resolve(Result{Outcome::unavailable});
                                 process->deleteLater();
                             }
                         });
        process->start(asker, {m_helper, QString::fromLatin1(signature.toBase64())}, QIODevice::ReadOnly);
        auto awaited = done;
        const auto result = co_await awaited;
        co_return result;
    }

private:
    const QString m_helper;
};

} // namespace

std::unique_ptr<PackageInstaller> makePackageInstaller(QString helper) {
    return std::make_unique<PrivilegedInstaller>(std::move(helper));
}

} // namespace platform
