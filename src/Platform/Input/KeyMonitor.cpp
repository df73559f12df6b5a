#include "Platform/Input/KeyMonitor.h"

#include <QPointer>

#include <utility>

namespace platform {

struct KeyMonitor::Monitor {
    bool isGlobal;
    KeyMask mask;
    LocalHandler handler; // empty once it is removed
};

class KeyMonitor::Registration : public Handle {
public:
    Registration(KeyMonitor& owner, std::shared_ptr<Monitor> monitor)
        : m_owner(&owner)
        , m_monitor(std::move(monitor)) {}
    ~Registration() override {
        m_monitor->handler = nullptr;
        if (m_owner && std::erase(m_owner->m_monitors, m_monitor) > 0 && !m_owner->hasMonitors()) {
            m_owner->watchingChanged();
        }
    }

private:
    QPointer<KeyMonitor> m_owner;
    std::shared_ptr<Monitor> m_monitor;
};

std::unique_ptr<KeyMonitor::Handle> KeyMonitor::add(std::shared_ptr<Monitor> monitor) {
    m_monitors.push_back(monitor);
    auto handle = std::make_unique<Registration>(*this, std::move(monitor));
    if (m_monitors.size() == 1) {
        watchingChanged();
    }
    return handle;
}

std::unique_ptr<KeyMonitor::Handle> KeyMonitor::addGlobalMonitor(KeyMask mask, GlobalHandler handler) {
    return add(std::make_shared<Monitor>(Monitor{true, mask, [call = std::move(handler)](const auto& event) {
                                                     call(event);
                                                     return false;
                                                 }}));
}

std::unique_ptr<KeyMonitor::Handle> KeyMonitor::addLocalMonitor(KeyMask mask, LocalHandler handler) {
    return add(std::make_shared<Monitor>(Monitor{false, mask, std::move(handler)}));
}

bool KeyMonitor::deliver(bool isGlobal, KeyMask mask, const KeyEvent& event) {
    // A handler may add and remove monitors, including its own.
    const auto monitors = m_monitors;
    for (const auto& monitor : monitors) {
        if (monitor->isGlobal == isGlobal && monitor->mask == mask) {
            if (const auto handler = monitor->handler; handler && handler(event)) {
                return true;
            }
        }
    }
    return false;
}

void KeyMonitor::deliverGlobal(KeyMask mask, const KeyEvent& event) {
    deliver(true, mask, event);
}

bool KeyMonitor::deliverLocal(KeyMask mask, const KeyEvent& event) {
    return deliver(false, mask, event);
}

} // namespace platform
