#pragma once

#include <QObject>
#include <QTimer>

namespace platform {

// Stops the text cursor from blinking once the user has not typed, clicked or activated a window for ten
// seconds: a cursor that blinks forever wakes the machine to draw frames that nobody looks at. Main thread;
// needs a QGuiApplication.
class CursorBlinkTimeout : public QObject {
    Q_OBJECT

public:
    explicit CursorBlinkTimeout(QObject* parent = nullptr);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void stopBlinking();
    void resumeBlinking();

    QTimer m_idleTimer;
    int m_flashTime = 0; // ms; 0 while the cursor blinks
};

} // namespace platform
