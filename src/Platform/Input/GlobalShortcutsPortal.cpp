#include "Platform/Input/GlobalShortcutsPortal.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Platform/Desktop/PortalRequest.h"
#include "Platform/Input/KeyTable.h"
#include "Platform/Windows/UserInteraction.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QPointer>
#include <QScopedPointer>

#include <xkbcommon/xkbcommon.h>

#include <array>

// The portal's representation of a shortcut on the bus.
struct PortalShortcut {
    QString id;
    QVariantMap properties;
};
Q_DECLARE_METATYPE(PortalShortcut)

static QDBusArgument& operator<<(QDBusArgument& argument, const PortalShortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

static const QDBusArgument& operator>>(const QDBusArgument& argument, PortalShortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

namespace platform {

namespace {

const auto portalInterface = QStringLiteral("GlobalShortcuts");
constexpr auto fullInterface = "org.freedesktop.portal.GlobalShortcuts";
constexpr auto sessionInterface = "org.freedesktop.portal.Session";
const auto shortcutsKey = QStringLiteral("shortcuts");
// Constant, because KDE stores the user's own keys under it and lists each token as a program in its
// settings.
const auto sessionToken = QStringLiteral("shortcuts");

struct ModifierName {
    quint32 flag;
    const char* name;
};

// Modifier names of the portals' shortcut format.
constexpr std::array modifierNames{
    ModifierName{modifier::command, "LOGO"},
    ModifierName{modifier::control, "CTRL"},
    ModifierName{modifier::option, "ALT"},
    ModifierName{modifier::shift, "SHIFT"},
};

// Returns an empty string for a name that does not belong to a key.
QString symbolName(const DesktopShortcut& shortcut) {
    if (const auto* symbol = symbolOf(shortcut.keyCode)) {
        return QLatin1String(symbol);
    }
    const auto characters = shortcut.keyName.toUcs4();
    const auto symbol = characters.size() == 1 ? xkb_utf32_to_keysym(characters.first())
                                               : xkb_keysym_from_name(shortcut.keyName.toUtf8().constData(),
                                                                      XKB_KEYSYM_CASE_INSENSITIVE);
    std::array<char, 64> name{};
    return symbol != XKB_KEY_NoSymbol && xkb_keysym_get_name(symbol, name.data(), name.size()) > 0
               ? QString::fromLatin1(name.data())
               : QString();
}

QString portalTrigger(const DesktopShortcut& shortcut) {
    QString trigger;
    for (const auto& row : modifierNames) {
        if (shortcut.modifierFlags & row.flag) {
            trigger += QLatin1String(row.name) + u'+';
        }
    }
    return trigger + symbolName(shortcut);
}

// The desktop takes the key from every program, so keys that type text are excluded.
bool canBeTaken(const DesktopShortcut& shortcut) {
    constexpr auto commanding = modifier::command | modifier::control | modifier::option;
    return (shortcut.modifierFlags & commanding) && !symbolName(shortcut).isEmpty();
}

QMap<QString, QString> triggersIn(const QVariant& shortcuts) {
    QMap<QString, QString> triggers;
    for (const auto& shortcut : qdbus_cast<QList<PortalShortcut>>(shortcuts)) {
        const auto trigger = shortcut.properties.value(QStringLiteral("trigger_description")).toString();
        if (!trigger.isEmpty()) {
            triggers.insert(shortcut.id, trigger);
        }
    }
    return triggers;
}

QCoro::Task<QVariantMap> ask(QString method, QVariantList arguments, QVariantMap options) {
    const QScopedPointer<PortalRequest, QScopedPointerDeleteLater> request(
        new PortalRequest(portalInterface, method, arguments, options));
    const auto answer = co_await request->answer();
    if (answer.response != PortalRequest::success) {
        throw PortalError(PortalError::Kind::refused, QStringLiteral("It was refused."));
    }
    // g++ 12 would move from the member if it were returned directly.
    auto results = answer.results;
    co_return results;
}

} // namespace

GlobalShortcutsPortal::GlobalShortcutsPortal()
    : m_portal(portal::service, m_bus) {
    qDBusRegisterMetaType<PortalShortcut>();
    qDBusRegisterMetaType<QList<PortalShortcut>>();
    // These take the raw messages, because the bus may not know the types of their arguments yet.
    listen(fullInterface, portal::path, "Activated", SLOT(activated(QDBusMessage)));
    listen(fullInterface, portal::path, "Deactivated", SLOT(deactivated(QDBusMessage)));
    listen(fullInterface, portal::path, "ShortcutsChanged", SLOT(shortcutsChanged(QDBusMessage)));
    connect(&m_portal, &QDBusServiceWatcher::serviceUnregistered, this,
            &GlobalShortcutsPortal::forgetSession);
    connect(&m_portal, &QDBusServiceWatcher::serviceRegistered, this, [this] {
        // Our own request may have started the portal.
        if (!m_isBinding && m_session.isEmpty()) {
            m_bound.clear();
            scheduleUpdate();
        }
    });
}

GlobalShortcutsPortal::~GlobalShortcutsPortal() {
    closeSession();
}

void GlobalShortcutsPortal::listen(const char* interface, const QString& path, const char* signal,
                                   const char* slot) {
    portal::listen(m_bus, path, QLatin1String(interface), QLatin1String(signal), this, slot);
}

void GlobalShortcutsPortal::watch(const QList<DesktopShortcut>& shortcuts) {
    m_wanted.clear();
    std::ranges::copy_if(shortcuts, std::back_inserter(m_wanted), canBeTaken);
    scheduleUpdate();
}

void GlobalShortcutsPortal::scheduleUpdate() {
    if (!std::exchange(m_updateScheduled, true)) {
        QMetaObject::invokeMethod(this, &GlobalShortcutsPortal::update, Qt::QueuedConnection);
    }
}

void GlobalShortcutsPortal::update() {
    m_updateScheduled = false;
    if (!m_isBinding) {
        startTask(bindWanted(), "desktop shortcuts");
    }
}

QCoro::Task<void> GlobalShortcutsPortal::bindWanted() {
    const QPointer self(this);
    m_isBinding = true;
    // The wanted shortcuts may change again before the desktop answers.
    while (self && m_bound != m_wanted) {
        m_bound = m_wanted;
        closeSession();
        if (m_bound.isEmpty()) {
            continue;
        }
        try {
            co_await bind(m_bound);
        } catch (const PortalError& error) {
            const bool isRefused = error.kind == PortalError::Kind::refused;
            logLine(isRefused
                        ? QStringLiteral("[Keys] The desktop refuses to watch the keys for this program: "
                                         "shortcuts work in this program's windows only")
                        : QStringLiteral("[Keys] The desktop does not watch keys for programs (%1): "
                                         "shortcuts work in this program's windows only")
                              .arg(QString::fromUtf8(error.what())));
            if (self) {
                setRefused(isRefused);
            }
        }
    }
    if (self) {
        m_isBinding = false;
    }
}

// A session can bind only once, so other keys need a new session. KDE 5.27 takes the keys when the session is
// created and opens its settings when they are bound; others take them when they are bound.
QCoro::Task<void> GlobalShortcutsPortal::bind(QList<DesktopShortcut> shortcuts) {
    const QPointer self(this);
    QList<PortalShortcut> list;
    for (const auto& shortcut : shortcuts) {
        list.append({shortcut.id,
                     {{QStringLiteral("description"), shortcut.description},
                      {QStringLiteral("preferred_trigger"), portalTrigger(shortcut)}}});
    }
    const QVariantMap wishes{{QStringLiteral("session_handle_token"), sessionToken},
                             {shortcutsKey, QVariant::fromValue(list)}};
    const auto session = co_await ask(QStringLiteral("CreateSession"), {}, wishes);
    if (!self) {
        co_return;
    }
    m_session = session.value(QStringLiteral("session_handle")).toString();
    listen(sessionInterface, m_session, "Closed", SLOT(forgetSession()));
    setRefused(false);
    if (const auto triggers = triggersIn(session.value(shortcutsKey)); !triggers.isEmpty()) {
        setTriggers(triggers);
        co_return;
    }
    const QVariantList arguments{QVariant::fromValue(QDBusObjectPath(m_session)), QVariant::fromValue(list),
                                 QString()};
    const auto results = co_await ask(QStringLiteral("BindShortcuts"), arguments, {});
    if (self) {
        setTriggers(triggersIn(results.value(shortcutsKey)));
    }
}

void GlobalShortcutsPortal::closeSession() {
    if (const auto session = std::exchange(m_session, {}); !session.isEmpty()) {
        // Its end may be reported when the next session already exists.
        m_bus.disconnect(portal::service, session, QLatin1String(sessionInterface), QStringLiteral("Closed"),
                         this, SLOT(forgetSession()));
        m_bus.asyncCall(QDBusMessage::createMethodCall(
            portal::service, session, QLatin1String(sessionInterface), QStringLiteral("Close")));
    }
    setTriggers({});
}

void GlobalShortcutsPortal::forgetSession() {
    m_session.clear();
    // Not requested again until the shortcuts change: the desktop may have had its reasons.
    if (!m_isBinding) {
        m_bound.clear();
    }
    setTriggers({});
    Q_EMIT lost();
}

void GlobalShortcutsPortal::setTriggers(const QMap<QString, QString>& triggers) {
    if (std::exchange(m_triggers, triggers) != triggers) {
        Q_EMIT triggersChanged();
    }
}

void GlobalShortcutsPortal::setRefused(bool refused) {
    if (std::exchange(m_isRefused, refused) != refused) {
        Q_EMIT triggersChanged();
    }
}

bool GlobalShortcutsPortal::isOurs(const QDBusMessage& message) const {
    const auto arguments = message.arguments();
    return arguments.size() >= 2 && qvariant_cast<QDBusObjectPath>(arguments.first()).path() == m_session;
}

void GlobalShortcutsPortal::activated(const QDBusMessage& message) {
    if (isOurs(message)) {
        noteUserInteractionNow();
        Q_EMIT pressed(message.arguments().at(1).toString());
    }
}

void GlobalShortcutsPortal::deactivated(const QDBusMessage& message) {
    if (isOurs(message)) {
        Q_EMIT released(message.arguments().at(1).toString());
    }
}

void GlobalShortcutsPortal::shortcutsChanged(const QDBusMessage& message) {
    if (isOurs(message)) {
        setTriggers(triggersIn(message.arguments().at(1)));
    }
}

} // namespace platform
