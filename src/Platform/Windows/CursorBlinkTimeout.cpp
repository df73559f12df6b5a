#include "Platform/Windows/CursorBlinkTimeout.h"

#include <QEvent>
#include <QGuiApplication>
#include <QStyleHints>

namespace platform {

namespace {

using namespace std::chrono_literals;

constexpr auto idleTime = 10s; // as in GTK

} // namespace

CursorBlinkTimeout::CursorBlinkTimeout(QObject* parent)
    : QObject(parent) {
    m_idleTimer.setSingleShot(true);
    m_idleTimer.setInterval(idleTime);
    m_idleTimer.setTimerType(Qt::VeryCoarseTimer);
    connect(&m_idleTimer, &QTimer::timeout, this, &CursorBlinkTimeout::stopBlinking);
    qGuiApp->installEventFilter(this);
}

bool CursorBlinkTimeout::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::MouseButtonPress:
    case QEvent::WindowActivate:
        resumeBlinking();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void CursorBlinkTimeout::resumeBlinking() {
    if (m_flashTime != 0) {
        QGuiApplication::styleHints()->setCursorFlashTime(std::exchange(m_flashTime, 0));
    }
    m_idleTimer.start();
}

void CursorBlinkTimeout::stopBlinking() {
    auto* hints = QGuiApplication::styleHints();
    m_flashTime = hints->cursorFlashTime();
    hints->setCursorFlashTime(0);
}

} // namespace platform
