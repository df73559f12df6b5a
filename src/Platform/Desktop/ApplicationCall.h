#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QStringList>

namespace platform {

// The object of an application on the bus: the Desktop Entry specification derives it from the id.
QString applicationObjectPath(const QString& applicationId);

// Calls org.freedesktop.Application: Open with the links, Activate without any. Blocks for the answer, at
// most `timeout` milliseconds, in which the bus may have started the application.
QDBusMessage callApplication(const QDBusConnection& bus, const QString& applicationId,
                             const QStringList& links, int timeout);

// What a launcher that knows bus activation does, for one that runs a command: hands the links over to the
// application, which the bus starts if need be. Where the bus cannot, `program` is started here; without a
// bus this process becomes it. Blocks. False, with a line in the log, when the links have not arrived.
bool openApplication(const QString& applicationId, const QStringList& links, const QString& program);

} // namespace platform
