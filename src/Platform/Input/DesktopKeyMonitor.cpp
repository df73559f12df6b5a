#include "Platform/Input/DesktopKeyMonitor.h"

#include "Platform/Core/Log.h"
#include "Platform/Desktop/WaylandSession.h"
#include "Platform/Input/KeyTable.h"
#include "Platform/Windows/UserInteraction.h"

#include <QGuiApplication>
#include <QInputMethodQueryEvent>
#include <QKeyEvent>
#include <QKeySequence>
#include <QWindow>

#include <algorithm>
#include <array>

namespace platform {

namespace {

constexpr std::array qtModifierKeys{Qt::Key_Shift,   Qt::Key_Control, Qt::Key_Meta,     Qt::Key_Alt,
                                    Qt::Key_AltGr,   Qt::Key_Super_L, Qt::Key_Super_R,  Qt::Key_Hyper_L,
                                    Qt::Key_Hyper_R, Qt::Key_NumLock, Qt::Key_CapsLock, Qt::Key_Mode_switch};

struct QtModifier {
    Qt::KeyboardModifier qt;
    quint32 flag;
};
constexpr std::array qtModifiers{
    QtModifier{Qt::ShiftModifier, modifier::shift}, QtModifier{Qt::ControlModifier, modifier::control},
    QtModifier{Qt::AltModifier, modifier::option}, QtModifier{Qt::GroupSwitchModifier, modifier::option},
    QtModifier{Qt::MetaModifier, modifier::command}};

bool isTextField(QObject* object) {
    if (!object) {
        return false;
    }
    QInputMethodQueryEvent query(Qt::ImEnabled | Qt::ImReadOnly);
    QGuiApplication::sendEvent(object, &query);
    return query.value(Qt::ImEnabled).toBool() && !query.value(Qt::ImReadOnly).toBool();
}

// The keys that operate a control or move the focus. A click leaves no visible focus, so it does not take the
// space bar away from its shortcut.
constexpr std::array controlKeys{keycode::space, keycode::returnKey, keycode::tab, keycode::left,
                                 keycode::right, keycode::down,      keycode::up};

bool isUsedBy(const QObject* object, int keyCode) {
    return object && object->property("visualFocus").toBool() &&
           std::ranges::find(controlKeys, keyCode) != controlKeys.end();
}

// Returns the layout's group from the state bits of an X11 event.
quint32 groupIn(quint32 state) {
    return (state >> 13) & 3;
}

} // namespace

KeyReach DesktopKeyMonitor::reach() const {
    if (m_seesAllPrograms) {
        return KeyReach::everywhere;
    }
    return desktopTriggers().isEmpty() ? KeyReach::ownWindows : KeyReach::desktop;
}

void DesktopKeyMonitor::setDesktopShortcuts(const QList<DesktopShortcut>& shortcuts) {
    if (m_portal) {
        m_portal->watch(shortcuts);
    }
}

QMap<QString, QString> DesktopKeyMonitor::desktopTriggers() const {
    return m_portal ? m_portal->triggers() : QMap<QString, QString>();
}

void DesktopKeyMonitor::watchingChanged() {
    if (hasMonitors()) {
        start();
    } else {
        stop();
    }
}

void DesktopKeyMonitor::start() {
    if (!qGuiApp) {
        return;
    }
    qGuiApp->installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, [this] {
        Q_EMIT focusMoved();
        if (!m_seesAllPrograms) {
            Q_EMIT keysLost();
        }
    });
    QMetaObject::invokeMethod(this, &DesktopKeyMonitor::followSleep, Qt::QueuedConnection);
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        openKeyboard();
    }
    if (isWaylandSession()) {
        openPortal();
    }
}

// Called later, because starting must not wait for the system bus.
void DesktopKeyMonitor::followSleep() {
    auto bus = QDBusConnection::systemBus();
    const bool follows = bus.connect({}, QStringLiteral("/org/freedesktop/login1"),
                                     QStringLiteral("org.freedesktop.login1.Manager"),
                                     QStringLiteral("PrepareForSleep"), this, SLOT(prepareForSleep()));
    if (!follows) {
        logLine(
            QStringLiteral("[Keys] Without a system bus, a key that is held while the machine goes to sleep "
                           "stays in effect until another key is pressed"));
    }
}

void DesktopKeyMonitor::stop() {
    if (qGuiApp) {
        qGuiApp->removeEventFilter(this);
        disconnect(qGuiApp, nullptr, this, nullptr);
    }
    for (QObject* source :
         {static_cast<QObject*>(m_keyboard.data()), static_cast<QObject*>(m_portal.data())}) {
        if (source) {
            disconnect(source, nullptr, this, nullptr);
        }
    }
    m_keyboard.reset();
    m_portal.reset();
    m_seesAllPrograms = false;
}

void DesktopKeyMonitor::openKeyboard() {
    // Under Wayland the X server sees only the keys of X11 programs, and misses releases.
    const bool ofAllPrograms = !isWaylandSession();
    m_keyboard.reset(X11Keyboard::open(ofAllPrograms).release());
    if (!m_keyboard) {
        logLine(QStringLiteral(
            "[Keys] This display does not let programs see each other's keys: shortcuts work in "
            "this program's windows only"));
        return;
    }
    m_seesAllPrograms = ofAllPrograms;
    for (const auto* window : QGuiApplication::allWindows()) {
        followFocusOf(*window);
    }
    connect(m_keyboard.data(), &X11Keyboard::keyChanged, this, &DesktopKeyMonitor::takeSessionKey);
    connect(m_keyboard.data(), &X11Keyboard::keysLost, this, &KeyMonitor::keysLost);
    connect(m_keyboard.data(), &X11Keyboard::closed, this, [this] {
        m_keyboard.reset();
        m_seesAllPrograms = false;
        Q_EMIT reachChanged();
    });
    Q_EMIT reachChanged();
}

void DesktopKeyMonitor::openPortal() {
    m_portal.reset(new GlobalShortcutsPortal);
    connect(m_portal.data(), &GlobalShortcutsPortal::triggersChanged, this, &KeyMonitor::reachChanged);
    connect(m_portal.data(), &GlobalShortcutsPortal::pressed, this, &KeyMonitor::desktopShortcutPressed);
    connect(m_portal.data(), &GlobalShortcutsPortal::released, this, &KeyMonitor::desktopShortcutReleased);
    connect(m_portal.data(), &GlobalShortcutsPortal::lost, this, &KeyMonitor::keysLost);
}

void DesktopKeyMonitor::prepareForSleep() {
    // Called before the sleep, and again after it.
    Q_EMIT keysLost();
}

// Returns whether one of our windows had the focus when the key was pressed. Qt reports the focus for a while
// after it is gone, and the server may report it although the window did not have it yet.
bool DesktopKeyMonitor::hadFocus() {
    if (!QGuiApplication::focusWindow()) {
        return false;
    }
    const auto focused = m_keyboard->focusedWindow();
    if (m_keyboard->followsFocus(focused)) {
        return m_keyboard->followedFocus() != 0;
    }
    return focused == XCB_INPUT_FOCUS_POINTER_ROOT ||
           std::ranges::any_of(QGuiApplication::allWindows(), [focused](const QWindow* window) {
               return window->handle() && window->winId() == focused;
           });
}

// Only an exposed window certainly exists on the server.
void DesktopKeyMonitor::followFocusOf(const QWindow& window) {
    if (m_seesAllPrograms && window.isExposed() && !m_keyboard->followsFocus(quint32(window.winId()))) {
        m_keyboard->followFocus(quint32(window.winId()));
    }
}

void DesktopKeyMonitor::takeSessionKey(const X11Keyboard::Key& key) {
    // A release counts wherever it is seen: a grab may keep it from our window.
    if (key.isPress) {
        const Press press{key.code, key.time};
        if (press == m_lastOwn || hadFocus()) {
            return;
        }
        m_lastOfOthers = press;
        noteUserInteraction(key.time);
    }
    const auto flags = modifierFlagsOfX11(key.state);
    const auto& layout = m_keyboard->layout();
    const KeyEvent event{.modifierFlags = flags,
                         .charactersIgnoringModifiers =
                             layout.characters(key.code, key.group, flags & modifier::shift),
                         .keyCode = layout.keyCode(key.code),
                         .isARepeat = key.isARepeat};
    deliverGlobal(key.isPress ? KeyMask::down : KeyMask::up, event);
}

bool DesktopKeyMonitor::eventFilter(QObject* watched, QEvent* event) {
    if (!watched->isWindowType()) {
        return false;
    }
    const auto& window = *static_cast<QWindow*>(watched);
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
        return takeOwnKey(*static_cast<QKeyEvent*>(event));
    case QEvent::MouseButtonPress:
        if (m_keyboard) {
            noteUserInteraction(static_cast<quint32>(static_cast<QMouseEvent*>(event)->timestamp()));
        }
        return false;
    case QEvent::Expose:
        followFocusOf(window);
        return false;
    case QEvent::PlatformSurface:
        if (m_seesAllPrograms && static_cast<QPlatformSurfaceEvent*>(event)->surfaceEventType() ==
                                     QPlatformSurfaceEvent::SurfaceAboutToBeDestroyed) {
            m_keyboard->unfollowFocus(quint32(window.winId()));
        }
        return false;
    default:
        return false;
    }
}

bool DesktopKeyMonitor::takeOwnKey(const QKeyEvent& key) {
    const bool isPress = key.type() == QEvent::KeyPress;
    if (isModifier(key) || (!isPress && key.isAutoRepeat())) {
        return false;
    }
    const auto press = pressOf(key);
    if (!isPress) {
        m_lastOwnRelease = press;
        // While the key is held, this is one half of a repetition whose other half has not arrived, which Qt
        // mistakes for a release.
        if (!m_seesAllPrograms || !m_keyboard->isHeld(press.code)) {
            deliverLocal(KeyMask::up, eventOf(key));
        }
        return false;
    }
    if (press.code != 0) {
        noteUserInteraction(press.time);
        if (press == m_lastOfOthers) {
            return false;
        }
        m_lastOwn = press;
    }
    return deliverLocal(KeyMask::down, eventOf(key));
}

bool DesktopKeyMonitor::isModifier(const QKeyEvent& key) const {
    if (m_keyboard && key.nativeScanCode() != 0) {
        return m_keyboard->layout().isModifier(key.nativeScanCode(), groupIn(key.nativeModifiers()));
    }
    return std::ranges::find(qtModifierKeys, static_cast<Qt::Key>(key.key())) != qtModifierKeys.end();
}

DesktopKeyMonitor::Press DesktopKeyMonitor::pressOf(const QKeyEvent& key) {
    return {key.nativeScanCode(), static_cast<quint32>(key.timestamp())};
}

KeyEvent DesktopKeyMonitor::eventOf(const QKeyEvent& key) const {
    KeyEvent event = codesOf(key);
    // The server repeats a key by releasing and pressing it in the same millisecond.
    event.isARepeat = key.isAutoRepeat() || (key.nativeScanCode() != 0 && pressOf(key) == m_lastOwnRelease);
    event.isForControl = isUsedBy(QGuiApplication::focusObject(), event.keyCode);
    event.isInTextField = isTextField(QGuiApplication::focusObject());
    return event;
}

KeyEvent DesktopKeyMonitor::codesOf(const QKeyEvent& key) const {
    KeyEvent event;
    if (m_keyboard && key.nativeScanCode() != 0) {
        const auto& layout = m_keyboard->layout();
        const auto state = key.nativeModifiers();
        event.modifierFlags = modifierFlagsOfX11(state);
        event.keyCode = layout.keyCode(key.nativeScanCode());
        event.charactersIgnoringModifiers =
            layout.characters(key.nativeScanCode(), groupIn(state), event.modifierFlags & modifier::shift);
        return event;
    }
    for (const auto& row : qtModifiers) {
        event.modifierFlags |= key.modifiers() & row.qt ? row.flag : 0;
    }
    event.keyCode = keyCodeOfQtKey(key.key());
    event.charactersIgnoringModifiers = QKeySequence(key.key()).toString();
    return event;
}

std::unique_ptr<KeyMonitor> makeDesktopKeyMonitor() {
    return std::make_unique<DesktopKeyMonitor>();
}

} // namespace platform
