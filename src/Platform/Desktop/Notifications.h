#pragma once

#include <QString>

#include <memory>

namespace platform {

// Shows short desktop notices that disappear by themselves. Main thread.
class Notifications {
public:
    virtual ~Notifications() = default;

    // Replaces the previous notice if that is still on show.
    virtual void show(const QString& title, const QString& body) = 0;
};

// Uses org.freedesktop.Notifications, in the name of the program with that desktop entry. Notices go to the
// log where no notification service runs.
std::unique_ptr<Notifications> makeDesktopNotifications(const QString& applicationName,
                                                        const QString& desktopEntry);

} // namespace platform
