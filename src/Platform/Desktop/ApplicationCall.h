#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QStringList>

namespace platform {

// Returns the D-Bus object path of an application, which is derived from its id.
QString applicationObjectPath(const QString& applicationId);

// Calls org.freedesktop.Application: Open with the links, or Activate if there are none. Blocks for at most
// `timeout` milliseconds, in which the bus may start the application.
QDBusMessage callApplication(const QDBusConnection& bus, const QString& applicationId,
                             const QStringList& links, int timeout);

// Does what a launcher with bus activation does, for launchers that run a command: hands the links to the
// application, which the bus starts if necessary. If the bus cannot start it, `program` is started directly;
// without a bus this process becomes it. Blocks. Returns false, and logs a line, if the links were not
// delivered.
bool openApplication(const QString& applicationId, const QStringList& links, const QString& program);

} // namespace platform
