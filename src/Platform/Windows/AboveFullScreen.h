#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

class QWindow;

namespace platform {

// Window managers put an active full-screen window above all others, including those that stay above. While
// such a window covers `window`, `window` is made its dialog, which puts it on top. For X11; elsewhere this
// does nothing. Main thread.
class AboveFullScreen : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    // The window must have been created, and must outlive this object.
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
    quint32 m_fullScreenWindow = 0; // the window that `m_window` is made a dialog of; 0 if none
    bool m_enabled = false;
    bool m_updateScheduled = false;
};

} // namespace platform
