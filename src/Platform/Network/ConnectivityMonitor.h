#pragma once

#include <QObject>

#include <memory>

namespace platform {

// Reports when an open connection may have died unnoticed. Does not poll.
class ConnectivityMonitor : public QObject {
    Q_OBJECT

public:
    enum class Cause { resumedFromSleep, wallClockJumped, networkChanged };
    Q_ENUM(Cause)

Q_SIGNALS:
    // Emitted on the main thread. Several changes within half a second are reported as one, with the cause
    // that is listed first above.
    void disturbed(platform::ConnectivityMonitor::Cause cause);
};

std::unique_ptr<ConnectivityMonitor> makeConnectivityMonitor();

} // namespace platform
