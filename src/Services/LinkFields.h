#pragma once

#include "Services/WebSocketService.h"

namespace corvane {

// The observable fields of the link. Changing one emits its signal. Main thread.
class LinkFields {
public:
    explicit LinkFields(WebSocketService& service)
        : q(service) {}

    bool isConnected() const { return m_isConnected; }
    bool isReconnecting() const { return m_isReconnecting; }
    const std::optional<QString>& authError() const { return m_authError; }
    int reconnectCountdown() const { return m_reconnectCountdown; } // s
    int currentAttempt() const { return m_currentAttempt; }

    void setConnected(bool value) { set(m_isConnected, value, &WebSocketService::isConnectedChanged); }
    void setReconnecting(bool value) {
        set(m_isReconnecting, value, &WebSocketService::isReconnectingChanged);
    }
    void setAuthError(std::optional<QString> value) {
        set(m_authError, std::move(value), &WebSocketService::authErrorChanged);
    }
    void setReconnectCountdown(int value) {
        set(m_reconnectCountdown, value, &WebSocketService::reconnectCountdownChanged);
    }
    void setCurrentAttempt(int value) {
        set(m_currentAttempt, value, &WebSocketService::currentAttemptChanged);
    }

private:
    template<typename T>
    void set(T& field, std::type_identity_t<T> value, void (WebSocketService::*changed)()) {
        if (field != value) {
            field = std::move(value);
            (q.*changed)();
        }
    }

    WebSocketService& q;
    bool m_isConnected = false;
    bool m_isReconnecting = false;
    std::optional<QString> m_authError;
    int m_reconnectCountdown = 0;
    int m_currentAttempt = 0;
};

} // namespace corvane
