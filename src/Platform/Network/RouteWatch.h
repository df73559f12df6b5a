#pragma once

#include <QByteArrayView>
#include <QSet>

#include <map>

struct nlmsghdr;

namespace platform {

// Reads the kernel's messages about links, addresses and routes (rtnetlink) and filters out repetitions,
// which drivers and routers send all day.
class RouteWatch {
public:
    // Returns true if a datagram reports a change that can have broken a connection.
    bool isChange(QByteArrayView datagram);

private:
    bool isChangedLink(const nlmsghdr* message);
    bool isChangedAddress(const nlmsghdr* message);
    bool isChangedRoute(const nlmsghdr* message) const;

    std::map<int, unsigned> m_linkStates; // by interface
    QSet<QByteArray> m_addresses;
};

} // namespace platform
