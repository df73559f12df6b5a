#include "Platform/Network/RouteWatch.h"

#include <linux/rtnetlink.h>
#include <net/if.h>

namespace platform {

bool RouteWatch::isChange(QByteArrayView datagram) {
    bool changed = false;
    auto left = static_cast<unsigned>(datagram.size());
    const auto* message = reinterpret_cast<const nlmsghdr*>(datagram.data());
    while (NLMSG_OK(message, left)) {
        switch (message->nlmsg_type) {
        case RTM_NEWLINK:
        case RTM_DELLINK:
            changed |= isChangedLink(message);
            break;
        case RTM_NEWADDR:
        case RTM_DELADDR:
            changed |= isChangedAddress(message);
            break;
        case RTM_NEWROUTE:
        case RTM_DELROUTE:
            changed |= isChangedRoute(message);
            break;
        default:
            break;
        }
        message = NLMSG_NEXT(message, left);
    }
    return changed;
}

// A wireless driver reports each scan as a new link.
bool RouteWatch::isChangedLink(const nlmsghdr* message) {
    if (message->nlmsg_len < NLMSG_LENGTH(sizeof(ifinfomsg))) {
        return false;
    }
    const auto* link = static_cast<const ifinfomsg*>(NLMSG_DATA(message));
    const bool gone = message->nlmsg_type == RTM_DELLINK;
    const auto state = gone ? 0U : link->ifi_flags & (IFF_UP | IFF_RUNNING);
    const auto known = m_linkStates.find(link->ifi_index);
    const bool changed = known == m_linkStates.end() ? state != 0 : known->second != state;
    m_linkStates[link->ifi_index] = state;
    return changed;
}

// A router advertisement announces every IPv6 address again.
bool RouteWatch::isChangedAddress(const nlmsghdr* message) {
    if (message->nlmsg_len < NLMSG_LENGTH(sizeof(ifaddrmsg))) {
        return false;
    }
    const auto* address = static_cast<const ifaddrmsg*>(NLMSG_DATA(message));
    QByteArray identity = QByteArray::number(address->ifa_index) + '/';
    auto left = IFA_PAYLOAD(message);
    for (const auto* attribute = IFA_RTA(address); RTA_OK(attribute, left);
         attribute = RTA_NEXT(attribute, left)) {
        if (attribute->rta_type == IFA_ADDRESS) {
            identity += QByteArray(static_cast<const char*>(RTA_DATA(attribute)),
                                   static_cast<qsizetype>(RTA_PAYLOAD(attribute)));
        }
    }
    if (message->nlmsg_type == RTM_DELADDR) {
        m_addresses.remove(identity);
        return true;
    }
    const auto before = m_addresses.size();
    m_addresses.insert(identity);
    return m_addresses.size() > before;
}

bool RouteWatch::isChangedRoute(const nlmsghdr* message) const {
    if (message->nlmsg_len < NLMSG_LENGTH(sizeof(rtmsg))) {
        return false;
    }
    const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(message));
    return route->rtm_type == RTN_UNICAST && route->rtm_table == RT_TABLE_MAIN &&
           (route->rtm_flags & RTM_F_CLONED) == 0;
}

} // namespace platform
