#include "Views/Overlay/WsStatusPresenter.h"

#include "Services/WebSocketService.h"
#include "ViewModels/ApplicationWindows.h"
#include "ViewModels/SettingsViewModel.h"

namespace corvane {

using namespace std::chrono_literals;

namespace {

// A shorter interruption is not reported.
constexpr auto issueDelay = 2000ms;

} // namespace

WsStatusPresenter::WsStatusPresenter(WebSocketService& webSocket, SettingsViewModel& settings,
                                     ApplicationWindows& windows, platform::Clock& clock)
    : m_webSocket(webSocket)
    , m_settings(settings)
    , m_windows(windows)
    , m_clock(clock) {
    using Self = WsStatusPresenter;
    connect(&webSocket, &WebSocketService::isConnectedChanged, this, &Self::update);
    connect(&webSocket, &WebSocketService::isReconnectingChanged, this, &Self::update);
    connect(&webSocket, &WebSocketService::authErrorChanged, this, &Self::update);
    connect(&webSocket, &WebSocketService::reconnectCountdownChanged, this, &Self::update);
    connect(&settings, &SettingsViewModel::corvaneApiEnabledChanged, this, &Self::update);
    update();
}

bool WsStatusPresenter::hasIssue() const {
    return m_settings.corvaneApiEnabled() && (!m_webSocket.isConnected() || m_webSocket.authError());
}

WsStatusPresenter::Presentation WsStatusPresenter::presentation() const {
    if (const auto& authError = m_webSocket.authError()) {
        return {QStringLiteral("exclamationmark.triangle.fill"), QStringLiteral("red"),
                QStringLiteral("Sign-in required"), *authError, QStringLiteral("Open Dashboard")};
    }
    const auto reconnect = QStringLiteral("Reconnect now");
    if (m_webSocket.isReconnecting()) {
        const auto seconds = m_webSocket.reconnectCountdown();
        const auto message = QStringLiteral("The assistant is trying to reconnect automatically%1.");
        return {QStringLiteral("arrow.trianglehead.2.clockwise"), QStringLiteral("yellow"),
                QStringLiteral("Reconnecting"),
                message.arg(seconds > 0 ? QStringLiteral(" in %1s").arg(seconds) : QString()), reconnect};
    }
    return {QStringLiteral("wifi.slash"), QStringLiteral("red"), QStringLiteral("Connection lost"),
            QStringLiteral("Questions and guidance may stop updating until the connection returns."),
            reconnect};
}

void WsStatusPresenter::update() {
    if (auto now = presentation(); now != m_presentation) {
        m_presentation = std::move(now);
        Q_EMIT presentationChanged();
    }
    const bool issue = hasIssue();
    if (issue == m_hadIssue) {
        return;
    }
    m_hadIssue = issue;
    if (m_hadIssue) {
        m_issueTimer = m_clock.once(issueDelay, [this] { setShowIcon(true); });
    } else {
        m_issueTimer.reset();
        setShowIcon(false);
    }
}

void WsStatusPresenter::setShowIcon(bool show) {
    if (show == m_showIcon) {
        return;
    }
    m_showIcon = show;
    Q_EMIT showIconChanged();
    if (!show) {
        setShowPopover(false);
    }
}

void WsStatusPresenter::setShowPopover(bool show) {
    if (show != m_showPopover) {
        m_showPopover = show;
        Q_EMIT showPopoverChanged();
    }
}

void WsStatusPresenter::act() {
    if (m_webSocket.authError()) {
        m_windows.showDashboard();
    } else {
        m_webSocket.manualReconnect();
    }
}

} // namespace corvane
