#include "Platform/Windows/CursorRest.h"

#include <QEvent>
#include <QGuiApplication>
#include <QStyleHints>

namespace platform {

namespace {

using namespace std::chrono_literals;

constexpr auto quiet = 10s; // as GTK has it

} // namespace

CursorRest::CursorRest(QObject* parent)
    : QObject(parent) {
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(quiet);
    m_quiet.setTimerType(Qt::VeryCoarseTimer);
    connect(&m_quiet, &QTimer::timeout, this, &CursorRest::rest);
    qGuiApp->installEventFilter(this);
}

bool CursorRest::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::MouseButtonPress:
    case QEvent::WindowActivate:
        wake();
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void CursorRest::wake() {
    if (m_flashTime != 0) {
        QGuiApplication::styleHints()->setCursorFlashTime(std::exchange(m_flashTime, 0));
    }
    m_quiet.start();
}

void CursorRest::rest() {
    auto* hints = QGuiApplication::styleHints();
    m_flashTime = hints->cursorFlashTime();
    hints->setCursorFlashTime(0);
}

} // namespace platform
