#pragma once

#include <QString>

#include <memory>

namespace platform {

// Short notices on the desktop, which go away by themselves. Main thread.
class Notifications {
public:
    virtual ~Notifications() = default;

    // Takes the place of the one before, if that still shows.
    virtual void show(const QString& title, const QString& body) = 0;
};

// By org.freedesktop.Notifications, in the name of the program with that desktop entry. Where nothing shows
// notices they go to the log.
std::unique_ptr<Notifications> makeDesktopNotifications(const QString& applicationName,
                                                        const QString& desktopEntry);

} // namespace platform
