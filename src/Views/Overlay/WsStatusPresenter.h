#pragma once

#include "Platform/Core/Clock.h"

#include <QObject>
#include <QString>
#include <qqmlregistration.h>

namespace corvane {

class ApplicationWindows;
class SettingsViewModel;
class WebSocketService;

// Reports trouble with the connection to the backend once it has lasted for a while, and offers help. Main
// thread.
class WsStatusPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the bar")
    Q_PROPERTY(bool showIcon READ showIcon NOTIFY showIconChanged)
    Q_PROPERTY(bool showPopover READ showPopover WRITE setShowPopover NOTIFY showPopoverChanged)
    Q_PROPERTY(QString symbol READ symbol NOTIFY presentationChanged)
    Q_PROPERTY(QString color READ color NOTIFY presentationChanged)
    Q_PROPERTY(QString statusText READ statusText NOTIFY presentationChanged)
    Q_PROPERTY(QString statusMessage READ statusMessage NOTIFY presentationChanged)
    Q_PROPERTY(QString actionText READ actionText NOTIFY presentationChanged)

public:
    WsStatusPresenter(WebSocketService& webSocket, SettingsViewModel& settings, ApplicationWindows& windows,
                      platform::Clock& clock);

    bool hasIssue() const;
    bool showIcon() const { return m_showIcon; }
    bool showPopover() const { return m_showPopover; }
    void setShowPopover(bool show);
    QString symbol() const { return m_presentation.symbol; }
    QString color() const { return m_presentation.color; } // the name of a colour of Theme
    QString statusText() const { return m_presentation.statusText; }
    QString statusMessage() const { return m_presentation.statusMessage; }
    QString actionText() const { return m_presentation.actionText; }

    Q_INVOKABLE void act();

Q_SIGNALS:
    void showIconChanged();
    void showPopoverChanged();
    void presentationChanged();

private:
    struct Presentation {
        QString symbol;
        QString color;
        QString statusText;
        QString statusMessage;
        QString actionText;
        bool operator==(const Presentation&) const = default;
    };

    Presentation presentation() const;
    void update();
    void setShowIcon(bool show);

    WebSocketService& m_webSocket;
    SettingsViewModel& m_settings;
    ApplicationWindows& m_windows;
    platform::Clock& m_clock;
    Presentation m_presentation;
    bool m_hadIssue = false;
    bool m_showIcon = false;
    bool m_showPopover = false;
    // Runs from the beginning of the trouble until the icon appears or the trouble ends.
    std::unique_ptr<platform::Timer> m_issueTimer;
};

} // namespace corvane
