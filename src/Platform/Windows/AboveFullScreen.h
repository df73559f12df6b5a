#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

class QWindow;

namespace platform {

// Window managers put an active full-screen window above all others, those that stay above included. While
// that covers `window`, it stands as a dialog of the full-screen one, and so above it. For X11; elsewhere it
// does nothing. Main thread.
class AboveFullScreen : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    // The window must have been created, and outlives this.
    explicit AboveFullScreen(QWindow& window);
    ~AboveFullScreen() override;

    void setEnabled(bool enabled);
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    void scheduleUpdate();
    void update();
    quint32 windowToStayAbove() const;
    void setTransientFor(quint32 fullScreenWindow);
    void checkPlace() const;

    QWindow& m_window;
    const quint32 m_activeWindow = 0; // atoms of the root's properties
    const quint32 m_stacking = 0;
    quint32 m_fullScreenWindow = 0; // the full-screen window above which `m_window` stands by the hint
    bool m_enabled = false;
    bool m_updateScheduled = false;
};

} // namespace platform
