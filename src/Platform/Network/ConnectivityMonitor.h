#pragma once

#include <QObject>

#include <memory>

namespace platform {

// Says when an open connection may have died without a word. Nothing is polled.
class ConnectivityMonitor : public QObject {
    Q_OBJECT

public:
    enum class Cause { resumedFromSleep, wallClockJumped, networkChanged };
    Q_ENUM(Cause)

Q_SIGNALS:
    // Main thread. Several changes within half a second come as one, with the first cause of the list above.
    void disturbed(platform::ConnectivityMonitor::Cause cause);
};

std::unique_ptr<ConnectivityMonitor> makeConnectivityMonitor();

} // namespace platform
