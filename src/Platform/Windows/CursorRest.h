#pragma once

#include <QObject>
#include <QTimer>

namespace platform {

// Lets the text cursor stand still once nobody has typed, clicked or come to a window for ten seconds: a
// cursor that blinks on for ever wakes the machine and draws frames in a program that nobody looks at. Main
// thread; needs a QGuiApplication.
class CursorRest : public QObject {
    Q_OBJECT

public:
    explicit CursorRest(QObject* parent = nullptr);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void rest();
    void wake();

    QTimer m_quiet;
    int m_flashTime = 0; // ms; 0 while the cursor blinks
};

} // namespace platform
