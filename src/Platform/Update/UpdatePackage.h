#pragma once

#include "Platform/Update/Appcast.h"
#include "Platform/Update/UpdateKey.h"

#include <QCoroTask>
#include <QFile>

#include <memory>

namespace platform {

// What the package of a release has to be.
struct PackageClaim {
    qint64 length = 0; // bytes
    QByteArray signature;
    QString version; // without epoch and revision
    QString name;
};

// A package that was opened once. What is verified, read and handed on is the open file, whatever stands at
// its path by then.
class UpdatePackage {
public:
    UpdatePackage(std::shared_ptr<QFile> file, QString path)
        : m_file(std::move(file))
        , m_path(std::move(path)) {}

    // The one at `path`; null where there is no plain file of this user's.
    static std::shared_ptr<UpdatePackage> open(const QString& path);

    int descriptor() const { return m_file->handle(); }
    // For people. Nothing may be opened by it.
    const QString& path() const { return m_path; }

    // Throws UpdateError unless it is what it is claimed to be and newer than what is installed. Main thread;
    // the work is done on another.
    static QCoro::Task<void> verify(std::shared_ptr<UpdatePackage> package, PackageClaim claim,
                                    UpdateKey key);

private:
    const std::shared_ptr<QFile> m_file;
    const QString m_path;
};

} // namespace platform
