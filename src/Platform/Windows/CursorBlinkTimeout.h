#pragma once

#include <QObject>
#include <QTimer>

namespace platform {

// Lets the text cursor stand still once nobody has typed, clicked or come to a window for ten seconds: a
// cursor that blinks on for ever wakes the machine and draws frames in a program that nobody looks at. Main
// thread; needs a QGuiApplication.
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
