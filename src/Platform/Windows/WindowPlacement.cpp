#include "Platform/Windows/WindowPlacement.h"

#include "Platform/Windows/XcbWindow.h"

#include <QEvent>
#include <QLocalSocket>
#include <QWindow>

namespace platform {

namespace {

using namespace std::chrono_literals;

constexpr auto longestMove = 300ms;     // within which the display reports a new position
constexpr auto longestRecentering = 1s; // within which sway centres a window

// Returns a message in the format of sway-ipc(7), with numbers in the machine's byte order.
QByteArray commandToSway(const QByteArray& command) {
    const auto number = [](quint32 value) {
        return QByteArray(reinterpret_cast<const char*>(&value), sizeof value);
    };
    constexpr quint32 runCommand = 0;
    return "i3-ipc" + number(static_cast<quint32>(command.size())) + number(runCommand) + command;
}

} // namespace

WindowPlacement::WindowPlacement(QWindow& window)
    : m_window(window)
    , m_position(window.position()) {
    if (x11::connection() && qEnvironmentVariableIsSet("SWAYSOCK")) {
        m_sway = std::make_unique<QLocalSocket>();
        connect(m_sway.get(), &QLocalSocket::readyRead, this, [this] { m_sway->readAll(); });
        m_sway->connectToServer(qEnvironmentVariable("SWAYSOCK"));
        window.installEventFilter(this);
    }
}

WindowPlacement::~WindowPlacement() = default;

void WindowPlacement::moveTo(QPoint position) {
    m_position = position;
    m_arriving.setRemainingTime(longestMove);
    if (m_sway && m_window.isVisible()) {
        tellSway();
    } else {
        m_window.setPosition(position);
    }
}

void WindowPlacement::resize(QSize size) {
    if (size != m_window.size()) {
        m_recentering.setRemainingTime(longestRecentering);
        m_window.resize(size);
    }
}

QPoint WindowPlacement::position() const {
    const bool isSettling = !m_arriving.hasExpired() || (m_sway && !m_recentering.hasExpired());
    return isSettling ? m_position : m_window.position();
}

bool WindowPlacement::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::Show:
        m_recentering.setRemainingTime(longestRecentering);
        break;
    case QEvent::Move:
        if (m_window.position() == m_position) {
            break;
        }
        if (!m_recentering.hasExpired()) {
            tellSway();
        } else if (m_arriving.hasExpired()) {
            m_position = m_window.position(); // the user has moved it
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void WindowPlacement::tellSway() {
    m_sway->write(commandToSway(QStringLiteral("[id=%1] move absolute position %2 px %3 px")
                                    .arg(x11::idOf(m_window))
                                    .arg(m_position.x())
                                    .arg(m_position.y())
                                    .toLatin1()));
    m_sway->flush();
}

} // namespace platform
