#include "Platform/Update/UpdatePackage.h"

#include "Platform/Core/Background.h"
#include "Platform/Update/DebianPackage.h"
#include "Platform/Update/UpdateError.h"
#include "Platform/Update/UpdateVersion.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

std::shared_ptr<UpdatePackage> UpdatePackage::open(const QString& path) {
    const int descriptor =
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    auto file = std::make_shared<QFile>();
    struct stat status {};
    if (descriptor < 0 || !file->open(descriptor, QIODevice::ReadOnly, QFile::AutoCloseHandle) ||
        ::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode) || status.st_uid != ::geteuid()) {
        return nullptr;
    }
    return std::make_shared<UpdatePackage>(std::move(file), path);
}

QCoro::Task<void> UpdatePackage::verify(std::shared_ptr<UpdatePackage> package, PackageClaim claim,
                                        UpdateKey key) {
    auto checking = inBackground([package, claim, key] {
        // A wrong length also makes the signature invalid.
        key.requireSignature(package->descriptor(), claim.signature);
        const auto held = readDebianPackage(package->descriptor());
        if (upstreamVersion(held.version) != claim.version) {
            throw UpdateError(UpdateError::badPackage,
                              QStringLiteral("The update holds version %1 where version %2 was announced, so "
                                             "it was thrown away. Contact the administrator of the update "
                                             "server.")
                                  .arg(held.version, claim.version));
        }
        requireUpgrade(held, claim.name);
        return true;
    });
    co_await std::move(checking);
}

} // namespace platform
