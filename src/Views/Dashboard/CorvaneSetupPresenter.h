#pragma once

#include "Platform/Core/OperationScope.h"

#include <QCoroTask>
#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace corvane {

class CorvaneAPIService;
class DatabaseService;
class WebSocketService;

// The connection page: sets the address of the backend and shows the state of the connection in full.
class CorvaneSetupPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the dashboard")
    Q_PROPERTY(QString authError READ authError NOTIFY authErrorChanged)
    Q_PROPERTY(bool connected READ isConnected NOTIFY statusChanged)
    Q_PROPERTY(QString statusSymbol READ statusSymbol NOTIFY statusChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY statusChanged)
    Q_PROPERTY(QString statusColor READ statusColor NOTIFY statusChanged)
    Q_PROPERTY(QString apiUrl READ apiUrl WRITE setApiUrl NOTIFY apiUrlChanged)
    Q_PROPERTY(QString defaultApiUrl READ defaultApiUrl CONSTANT)
    Q_PROPERTY(bool urlDirty READ urlDirty NOTIFY apiUrlChanged)
    Q_PROPERTY(QString urlFault READ urlFault NOTIFY apiUrlChanged)
    Q_PROPERTY(bool isSavingUrl READ isSavingUrl NOTIFY isSavingUrlChanged)

public:
    // `defaultApiUrl` is the backend of this deployment, which is used when no address is stored.
    CorvaneSetupPresenter(WebSocketService& webSocket, CorvaneAPIService& apiService,
                          DatabaseService& database, QString defaultApiUrl);

    QString authError() const; // empty when there is none
    bool isConnected() const;
    QString statusSymbol() const; // empty when a spinner is shown instead
    QString statusText() const;
    QString statusColor() const; // the name of a colour of Theme
    Q_INVOKABLE void manualReconnect();

    QString apiUrl() const { return m_apiUrl; }
    void setApiUrl(const QString& url);
    QString defaultApiUrl() const { return m_defaultApiUrl; }
    // Returns whether the field differs from what is stored.
    bool urlDirty() const { return m_apiUrl.trimmed() != m_savedUrl; }
    // Returns what is wrong with the stored address. It is empty when a connection can be attempted, and
    // while another address is being typed.
    QString urlFault() const;
    bool isSavingUrl() const { return m_isSavingUrl; }
    // Called when the page becomes visible. Shows what is stored, unless the page was only hidden with its
    // window.
    Q_INVOKABLE void appear();
    // Called when another page is opened. When the window is only hidden, the typed text is kept.
    void leave() { m_isOpen = false; }
    void loadSettings();
    // Stores the address and connects to it. An empty field stands for the default address.
    Q_INVOKABLE void saveUrl();

Q_SIGNALS:
    void authErrorChanged();
    void statusChanged();
    void apiUrlChanged();
    void isSavingUrlChanged();

private:
    struct Status {
        const char* symbol;
        const char* text;
        const char* color;
    };

    const Status& status() const;
    void setUrls(const QString& apiUrl, const QString& savedUrl);
    QCoro::Task<void> connectTo(QString url);
    void setSavingUrl(bool saving);

    WebSocketService& m_webSocket;
    CorvaneAPIService& m_apiService;
    DatabaseService& m_database;
    QString m_defaultApiUrl;
    QString m_apiUrl;
    QString m_savedUrl;
    bool m_isSavingUrl = false;
    bool m_isOpen = false;
    platform::OperationScope m_operations;
};

} // namespace corvane
