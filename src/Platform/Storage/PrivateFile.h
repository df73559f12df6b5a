#pragma once

#include <QString>

namespace platform {

// Creates a file that only the user can read and write (mode 0600), or takes the rights of all other users
// from an existing one. An existing file is not opened, since closing it would drop the locks that SQLite
// holds on it.
void preparePrivateFile(const QString& path);

} // namespace platform
