#include "Platform/Network/ConnectivityMonitor.h"

#include "Platform/Network/ClockWatch.h"
#include "Platform/Network/RouteWatch.h"

#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <cerrno>
#include <functional>

#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace platform {

namespace {

// A change of the network arrives as a burst of changes to links, addresses and routes.
constexpr std::chrono::milliseconds settleTime{500};

// A kernel descriptor that the main loop watches. An invalid one stays silent.
class WatchedDescriptor {
public:
    explicit WatchedDescriptor(int descriptor)
        : m_descriptor(descriptor) {
        if (descriptor >= 0) {
            m_notifier = std::make_unique<QSocketNotifier>(descriptor, QSocketNotifier::Read);
        }
    }
    ~WatchedDescriptor() {
        m_notifier.reset();
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    WatchedDescriptor(const WatchedDescriptor&) = delete;
    WatchedDescriptor& operator=(const WatchedDescriptor&) = delete;

    int get() const { return m_descriptor; }
    void onReadable(QObject* context, std::function<void()> read) {
        if (m_notifier) {
            QObject::connect(m_notifier.get(), &QSocketNotifier::activated, context, std::move(read));
        }
    }

private:
    const int m_descriptor;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

int openRoutes() {
    const int descriptor = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups =
        RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
    if (descriptor >= 0 && ::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        ::close(descriptor);
        return -1;
    }
    return descriptor;
}

// A timer that never expires: the kernel wakes its reader when the wall clock is set, and on resume.
void armClock(int descriptor) {
    itimerspec never{};
    never.it_value.tv_sec = 1LL << 33; // the year 2242
    ::timerfd_settime(descriptor, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &never, nullptr);
}

class KernelMonitor : public ConnectivityMonitor {
public:
    KernelMonitor()
        : m_clockDescriptor(::timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK))
        , m_routeDescriptor(openRoutes()) {
        m_settleTimer.setSingleShot(true);
        m_settleTimer.setInterval(settleTime);
        connect(&m_settleTimer, &QTimer::timeout, this, [this] { Q_EMIT disturbed(m_cause); });
        armClock(m_clockDescriptor.get());
        m_clockDescriptor.onReadable(this, [this] { readClock(); });
        m_routeDescriptor.onReadable(this, [this] { readRoutes(); });
    }

private:
    void readClock() {
        std::uint64_t expirations = 0;
        if (::read(m_clockDescriptor.get(), &expirations, sizeof expirations) < 0 && errno == ECANCELED) {
            armClock(m_clockDescriptor.get());
        }
        if (const auto cause = m_clocks.examine(ClockReadings::now())) {
            note(*cause);
        }
    }

    void readRoutes() {
        alignas(nlmsghdr) std::array<char, 16 * 1024> buffer;
        for (;;) {
            const auto size = ::recv(m_routeDescriptor.get(), buffer.data(), buffer.size(), 0);
            if (size < 0 && errno == EINTR) {
                continue;
            }
            // An overrun means that changes were lost, so it counts as a change.
            const bool overrun = size < 0 && errno == ENOBUFS;
            if (overrun || (size > 0 && m_routes.isChange(QByteArrayView(buffer.data(), size)))) {
                note(Cause::networkChanged);
            }
            if (size <= 0 && !overrun) {
                return;
            }
        }
    }

    // The causes are declared in the order of their priority.
    void note(Cause cause) {
        m_cause = m_settleTimer.isActive() ? std::min(m_cause, cause) : cause;
        if (!m_settleTimer.isActive()) {
            m_settleTimer.start();
        }
    }

    WatchedDescriptor m_clockDescriptor;
    WatchedDescriptor m_routeDescriptor;
    ClockWatch m_clocks{ClockReadings::now()};
    RouteWatch m_routes;
    QTimer m_settleTimer;
    Cause m_cause = Cause::networkChanged;
};

} // namespace

std::unique_ptr<ConnectivityMonitor> makeConnectivityMonitor() {
    return std::make_unique<KernelMonitor>();
}

} // namespace platform
