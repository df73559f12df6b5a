#pragma once

#include <QByteArray>
#include <QCoroTask>
#include <QString>

#include <memory>

namespace platform {

class UpdatePackage;

// Installs a verified package on the system. Main thread.
class PackageInstaller {
public:
    enum class Outcome {
        installed,
        // The user did not give the administrator's consent.
        declined,
        // The system cannot ask for that consent.
        unavailable,
        failed,
    };
    struct Result {
        Outcome outcome = Outcome::failed;
        QString reason = {}; // a sentence if the installation failed; may be empty
    };

    virtual ~PackageInstaller() = default;

    // Installs the package. Hands over the open file, and never its path.
    virtual QCoro::Task<Result> install(std::shared_ptr<UpdatePackage> package, QByteArray signature) = 0;
};

// Uses `helper`, a program that runs as the administrator: it gets the package as its standard input and the
// signature, in base64, as its argument, and verifies a copy in a folder of its own. The desktop asks for the
// consent (pkexec). An installation continues if this process ends.
std::unique_ptr<PackageInstaller> makePackageInstaller(QString helper);

} // namespace platform
