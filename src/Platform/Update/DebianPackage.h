#pragma once

#include <QString>

namespace platform {

// The version that a Debian package states, without its epoch and the packager's revision. Reads only the
// package's description. Throws UpdateError for a file that is no package, and where nothing reads one.
// Blocks for as long as the reading takes; any thread.
QString debianPackageVersion(const QString& path);

} // namespace platform
