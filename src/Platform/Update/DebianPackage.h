#pragma once

#include <QString>

#include <optional>

namespace platform {

// The name and version that a Debian package states.
struct DebianPackage {
    QString name;
    QString version; // with epoch and revision
};

// Reads the description of a package from an open file. Throws UpdateError if the file is not a package, or
// if the system has no dpkg. Blocks; any thread.
DebianPackage readDebianPackage(int descriptor);

// Throws UpdateError unless the package is the program's own and newer, with epoch and revision, than an
// installed one. Blocks; any thread.
void requireUpgrade(const DebianPackage& package, const QString& name);

} // namespace platform
