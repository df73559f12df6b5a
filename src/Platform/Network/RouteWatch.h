#pragma once

#include <QByteArrayView>
#include <QSet>

#include <map>

struct nlmsghdr;

namespace platform {

// Reads what the kernel says about links, addresses and routes (rtnetlink), and keeps what is news: drivers
// and routers repeat themselves all day.
class RouteWatch {
public:
    // True if a datagram tells of a change that can have broken a connection.
    bool isChange(QByteArrayView datagram);

private:
    bool isChangedLink(const nlmsghdr* message);
    bool isChangedAddress(const nlmsghdr* message);
    bool isChangedRoute(const nlmsghdr* message) const;

    std::map<int, unsigned> m_linkStates; // by interface
    QSet<QByteArray> m_addresses;
};

} // namespace platform
