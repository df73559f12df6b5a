#pragma once

#include "Platform/Update/Appcast.h"
#include "Platform/Update/UpdateKey.h"

#include <QCoroTask>
#include <QFile>

#include <memory>

namespace platform {

// What the feed claims about the package of a release.
struct PackageClaim {
    qint64 length = 0; // bytes
    QByteArray signature;
    QString version; // without epoch and revision
    QString name;
};

// A package that was opened once. The open file is verified, read and handed on, regardless of what its path
// leads to by then.
class UpdatePackage {
public:
    UpdatePackage(std::shared_ptr<QFile> file, QString path)
        : m_file(std::move(file))
        , m_path(std::move(path)) {}

    // Opens the package at `path`. Returns null unless it is a regular file of this user.
    static std::shared_ptr<UpdatePackage> open(const QString& path);

    int descriptor() const { return m_file->handle(); }
    // For display only: do not open the file by its path.
    const QString& path() const { return m_path; }

    // Throws UpdateError unless the package is what it is claimed to be and newer than what is installed.
    // Main thread; the work runs on a pool thread.
    static QCoro::Task<void> verify(std::shared_ptr<UpdatePackage> package, PackageClaim claim,
                                    UpdateKey key);

private:
    const std::shared_ptr<QFile> m_file;
    const QString m_path;
};

} // namespace platform
