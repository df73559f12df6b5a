#pragma once

#include <QDeadlineTimer>
#include <QObject>
#include <QPoint>
#include <QSize>

#include <memory>

class QLocalSocket;
class QWindow;

namespace platform {

// Positions a window for its program. sway centres an X11 window whenever the window is shown or asks for
// another position or size; there this class moves it back by sway's own command. Main thread.
class WindowPlacement : public QObject {
    Q_OBJECT

public:
    // The window has to outlive this object.
    explicit WindowPlacement(QWindow& window);
    ~WindowPlacement() override;

    void moveTo(QPoint position);
    void resize(QSize size);
    // Returns the requested position until the display has reported it, so that quick steps add up.
    QPoint position() const;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void tellSway();

    QWindow& m_window;
    QPoint m_position;                    // requested last, or chosen by the user
    QDeadlineTimer m_arriving;            // while the display may still report an earlier position
    QDeadlineTimer m_recentering;         // while sway may still centre the window
    std::unique_ptr<QLocalSocket> m_sway; // null on other desktops
};

} // namespace platform
