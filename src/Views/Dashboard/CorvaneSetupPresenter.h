#pragma once

#include <QCoroTask>
#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace corvane {

class CorvaneAPIService;
class DatabaseService;
class WebSocketService;

// The page where the backend's address is set and the connection is shown in full.
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
    // `defaultApiUrl`: the backend of this deployment, for when none is stored.
    CorvaneSetupPresenter(WebSocketService& webSocket, CorvaneAPIService& apiService,
                          DatabaseService& database, QString defaultApiUrl);

    QString authError() const; // empty when there is none
    bool isConnected() const;
    QString statusSymbol() const; // empty: a spinner
    QString statusText() const;
    QString statusColor() const; // a role of the theme
    Q_INVOKABLE void manualReconnect();

    QString apiUrl() const { return m_apiUrl; }
    void setApiUrl(const QString& url);
    QString defaultApiUrl() const { return m_defaultApiUrl; }
    // Whether the field has something to save.
    bool urlDirty() const { return m_apiUrl.trimmed() != m_savedUrl; }
    // What the stored address lacks; empty when a connection to it can be tried, and while another is being
    // typed.
    QString urlFault() const;
    bool isSavingUrl() const { return m_isSavingUrl; }
    // The page has come into view: for the first time since it was left, it shows what is stored.
    Q_INVOKABLE void appear();
    // Another page takes its place. A window that is only hidden does not: what is typed stays.
    void leave() { m_isOpen = false; }
    void loadSettings();
    // Stores the address, clearing the field being the default one, and connects to it.
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
};

} // namespace corvane
