#include "Platform/Storage/PrivateFile.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

void platform::preparePrivateFile(const QString& path) {
    const auto name = QFile::encodeName(path);
    const int created = ::open(name.constData(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (created >= 0) {
        ::close(created);
        return;
    }
    if (struct stat status{}; ::stat(name.constData(), &status) == 0 && (status.st_mode & 0077) != 0) {
        ::chmod(name.constData(), status.st_mode & 0700);
    }
}
