#pragma once

#include <QString>

#include <optional>

namespace platform {

// What a Debian package says of itself.
struct DebianPackage {
    QString name;
    QString version; // with epoch and revision
};

// Of an open file. Reads only the package's description. Throws UpdateError for a file that is no package,
// and where nothing reads one. Blocks for as long as the reading takes; any thread.
DebianPackage readDebianPackage(int descriptor);

// Throws UpdateError unless the package is the program's own and newer, with epoch and revision, than the one
// that is installed, if one is. Blocks; any thread.
void requireUpgrade(const DebianPackage& package, const QString& name);

} // namespace platform
