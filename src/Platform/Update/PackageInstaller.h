#pragma once

#include <QByteArray>
#include <QCoroTask>
#include <QString>

#include <memory>

namespace platform {

class UpdatePackage;

// What puts a verified package onto the system. Main thread.
class PackageInstaller {
public:
    enum class Outcome {
        installed,
        // The user does not give the administrator's consent.
        declined,
        // Nothing here asks for such a consent.
        unavailable,
        failed,
    };
    struct Result {
        Outcome outcome = Outcome::failed;
        QString reason = {}; // of failed: a sentence, if there is one
    };

    virtual ~PackageInstaller() = default;

    // Hands the open file over, never its path.
    virtual QCoro::Task<Result> install(std::shared_ptr<UpdatePackage> package, QByteArray signature) = 0;
};

// By `helper`, a program that runs as the administrator: it gets the package as its standard input and the
// signature, in base64, as its argument, and verifies what it got in a folder of its own. The desktop asks
// for the consent (pkexec). An installation goes on when this process ends.
std::unique_ptr<PackageInstaller> makePackageInstaller(QString helper);

} // namespace platform
