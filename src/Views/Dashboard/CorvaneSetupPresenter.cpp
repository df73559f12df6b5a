#include "Views/Dashboard/CorvaneSetupPresenter.h"

#include "Platform/Core/Tasks.h"
#include "Services/BackendAddress.h"
#include "Services/CorvaneAPIService.h"
#include "Services/DatabaseService.h"
#include "Services/WebSocketService.h"

#include <QScopeGuard>

namespace corvane {

namespace {

constexpr auto urlSetting = "corvane_api_url";

QString withoutOuterSlashes(QStringView text) {
    while (text.startsWith(u'/')) {
        text = text.sliced(1);
    }
    while (text.endsWith(u'/')) {
        text.chop(1);
    }
    return text.toString();
}

} // namespace

CorvaneSetupPresenter::CorvaneSetupPresenter(WebSocketService& webSocket, CorvaneAPIService& apiService,
                                             DatabaseService& database, QString defaultApiUrl)
    : m_webSocket(webSocket)
    , m_apiService(apiService)
    , m_database(database)
    , m_defaultApiUrl(std::move(defaultApiUrl)) {
    using Self = CorvaneSetupPresenter;
    connect(&webSocket, &WebSocketService::authErrorChanged, this, &Self::authErrorChanged);
    connect(&webSocket, &WebSocketService::isConnectedChanged, this, &Self::statusChanged);
    connect(&webSocket, &WebSocketService::isReconnectingChanged, this, &Self::statusChanged);
}

QString CorvaneSetupPresenter::authError() const {
    return m_webSocket.authErrorText();
}

bool CorvaneSetupPresenter::isConnected() const {
    return m_webSocket.isConnected();
}

const CorvaneSetupPresenter::Status& CorvaneSetupPresenter::status() const {
    static constexpr Status connected{"wifi", "Connected", "green"};
    static constexpr Status reconnecting{"", "Reconnecting…", "primary"};
    static constexpr Status disconnected{"wifi.slash", "Disconnected", "red"};
    return m_webSocket.isConnected() ? connected : m_webSocket.isReconnecting() ? reconnecting : disconnected;
}

QString CorvaneSetupPresenter::statusSymbol() const {
    return QLatin1String(status().symbol);
}

QString CorvaneSetupPresenter::statusText() const {
    return QString::fromUtf8(status().text);
}

QString CorvaneSetupPresenter::statusColor() const {
    return QLatin1String(status().color);
}

void CorvaneSetupPresenter::manualReconnect() {
    m_webSocket.manualReconnect();
}

QString CorvaneSetupPresenter::urlFault() const {
    return m_savedUrl.isEmpty() || urlDirty() ? QString() : addressFault(m_savedUrl).value_or(QString());
}

void CorvaneSetupPresenter::setApiUrl(const QString& url) {
    setUrls(url, m_savedUrl);
}

void CorvaneSetupPresenter::setUrls(const QString& apiUrl, const QString& savedUrl) {
    if (apiUrl != m_apiUrl || savedUrl != m_savedUrl) {
        m_apiUrl = apiUrl;
        m_savedUrl = savedUrl;
        Q_EMIT apiUrlChanged();
    }
}

void CorvaneSetupPresenter::appear() {
    if (!std::exchange(m_isOpen, true)) {
        loadSettings();
    }
}

void CorvaneSetupPresenter::loadSettings() {
    const auto url = m_database.getSetting(QLatin1String(urlSetting)).value_or(m_defaultApiUrl);
    setUrls(url, url);
}

void CorvaneSetupPresenter::saveUrl() {
    if (m_isSavingUrl) {
        return;
    }
    const auto url = withoutOuterSlashes(m_apiUrl.trimmed().isEmpty() ? m_defaultApiUrl : m_apiUrl);
    setUrls(url, url);
    m_database.setSetting(QLatin1String(urlSetting), url);
    m_apiService.setBaseURL(url);
    setSavingUrl(true);
    platform::startTask(connectTo(url), "connect");
}

QCoro::Task<void> CorvaneSetupPresenter::connectTo(QString url) {
    const auto saved = qScopeGuard([this, ticket = m_operations.ticket()] {
        if (ticket.isCurrent()) {
            setSavingUrl(false);
        }
    });
    co_await m_webSocket.connect(url);
}

void CorvaneSetupPresenter::setSavingUrl(bool saving) {
    if (std::exchange(m_isSavingUrl, saving) != saving) {
        Q_EMIT isSavingUrlChanged();
    }
}

} // namespace corvane
