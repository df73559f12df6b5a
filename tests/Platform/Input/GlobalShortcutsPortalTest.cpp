#include "Platform/Input/KeyMonitor.h"
#include "sandbox/desktop/PrivateSession.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/WaitFor.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTimer>

namespace {

constexpr auto portalService = "org.freedesktop.portal.Desktop";
constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto portalInterface = "org.freedesktop.portal.GlobalShortcuts";

} // namespace

struct Shortcut {
    QString id;
    QVariantMap properties;
};
Q_DECLARE_METATYPE(Shortcut)

static QDBusArgument& operator<<(QDBusArgument& argument, const Shortcut& shortcut) {
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}
static const QDBusArgument& operator>>(const QDBusArgument& argument, Shortcut& shortcut) {
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

// The desktop's side: binds all but one of what it is asked for.
class FakePortal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.GlobalShortcuts")

public:
    uint response = 0;
    bool takesKeysWithTheSession = false; // as KDE 5.27
    QString refused;
    int bindings = 0;
    QStringList bound; // "id trigger"
    QStringList sessions;

    void signal(const char* name, const QString& id) const {
        auto message = QDBusMessage::createSignal(portalPath, portalInterface, name);
        message << QVariant::fromValue(QDBusObjectPath(sessions.last())) << id << qulonglong(1)
                << QVariantMap();
        QDBusConnection("desktop").send(message);
    }
    void closeSession() const {
        auto message =
            QDBusMessage::createSignal(sessions.last(), "org.freedesktop.portal.Session", "Closed");
        QDBusConnection("desktop").send(message << QVariantMap());
    }

public Q_SLOTS:
    QDBusObjectPath CreateSession(const QVariantMap& options, const QDBusMessage& call) {
        sessions.append(QString(portalPath) + "/session/x/" +
                        options.value("session_handle_token").toString());
        QVariantMap results{{"session_handle", sessions.last()}};
        if (takesKeysWithTheSession) {
            results.insert("shortcuts", QVariant::fromValue(
                                            agree(qdbus_cast<QList<Shortcut>>(options.value("shortcuts")))));
        }
        return answer(call, options, results);
    }
    QDBusObjectPath BindShortcuts(const QDBusObjectPath&, const QList<Shortcut>& shortcuts, const QString&,
                                  const QVariantMap& options, const QDBusMessage& call) {
        ++bindings;
        return answer(call, options, {{"shortcuts", QVariant::fromValue(agree(shortcuts))}});
    }

private:
    QList<Shortcut> agree(const QList<Shortcut>& shortcuts) {
        bound.clear();
        QList<Shortcut> agreed;
        for (const auto& shortcut : shortcuts) {
            bound.append(shortcut.id + ' ' + shortcut.properties.value("preferred_trigger").toString());
            if (shortcut.id != refused) {
                agreed.append({shortcut.id, {{"trigger_description", "Press " + shortcut.id}}});
            }
        }
        return agreed;
    }
    QDBusObjectPath answer(const QDBusMessage& call, const QVariantMap& options, const QVariantMap& results) {
        const auto path = QString(portalPath) + "/request/" + call.service().mid(1).replace('.', '_') + '/' +
                          options.value("handle_token").toString();
        auto message = QDBusMessage::createSignal(path, "org.freedesktop.portal.Request", "Response");
        message << response << results;
        QTimer::singleShot(0, this, [message] { QDBusConnection("desktop").send(message); });
        return QDBusObjectPath(path);
    }
};

// As newer portals have it: a program that is not known there may not use the others.
class FakeRegistry : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.host.portal.Registry")

public:
    explicit FakeRegistry(QObject* parent)
        : QDBusAbstractAdaptor(parent) {}

    QStringList applications;

public Q_SLOTS:
    void Register(const QString& application, const QVariantMap&) { applications.append(application); }
};

namespace {

using platform::DesktopShortcut;
using platform::KeyReach;
namespace modifier = platform::modifier;
namespace keycode = platform::keycode;

// The desktop is asked for keys only while there is somebody to tell.
struct WatchedKeys {
    const std::unique_ptr<platform::KeyMonitor> monitor = platform::makeDesktopKeyMonitor();
    const std::unique_ptr<platform::KeyMonitor::Handle> handle =
        monitor->addLocalMonitor(platform::KeyMask::down, [](const auto&) { return false; });

    platform::KeyMonitor* operator->() const { return monitor.get(); }
};

const DesktopShortcut up{"up", "Move up", modifier::command, keycode::up, "up"};
const DesktopShortcut letter{"letter", "Letter", modifier::command | modifier::shift, keycode::none, "d"};
const DesktopShortcut sign{"sign", "Sign", modifier::control | modifier::option, keycode::none, "\\"};
const DesktopShortcut space{"space", "Typed", 0, keycode::space, "space"};
const DesktopShortcut nonsense{"nonsense", "No key", modifier::command, keycode::none, "nonsense"};

} // namespace

class GlobalShortcutsPortalTest : public QObject {
    Q_OBJECT

private:
    PrivateSession m_session;
    FakePortal m_portal;
    FakeRegistry m_registry{&m_portal};

    bool offersPortal() { return QDBusConnection("desktop").registerService(portalService); }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_session.startBus());
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", m_session.busAddress().toUtf8());
        qputenv("WAYLAND_DISPLAY", "wayland-test");
        qDBusRegisterMetaType<Shortcut>();
        qDBusRegisterMetaType<QList<Shortcut>>();
        auto bus = QDBusConnection::connectToBus(m_session.busAddress(), "desktop");
        QVERIFY(bus.registerObject(portalPath, &m_portal,
                                   QDBusConnection::ExportAllSlots | QDBusConnection::ExportAdaptors));
    }

    void theDesktopWatchesWhatItAgreesTo() {
        QVERIFY(offersPortal());
        const WatchedKeys keys;
        QSignalSpy pressed(keys.monitor.get(), &platform::KeyMonitor::desktopShortcutPressed);
        QSignalSpy released(keys.monitor.get(), &platform::KeyMonitor::desktopShortcutReleased);
        QSignalSpy lost(keys.monitor.get(), &platform::KeyMonitor::keysLost);
        m_portal.refused = "sign";
        // Changed once more before it is asked for.
        keys->setDesktopShortcuts({sign});
        keys->setDesktopShortcuts({up, letter, sign, space, nonsense});
        QVERIFY(waitUntil([&] { return keys->reach() == KeyReach::desktop; }));
        QCOMPARE(m_portal.bound,
                 QStringList({"up LOGO+Up", "letter LOGO+SHIFT+d", "sign CTRL+ALT+backslash"}));
        QCOMPARE(m_portal.sessions.size(), 1);
        QCOMPARE(keys->desktopTriggers().keys(), QStringList({"letter", "up"}));
        m_portal.signal("Activated", "up");
        m_portal.signal("Deactivated", "up");
        QVERIFY(waitUntil([&] { return released.size() == 1; }));
        QCOMPARE(pressed.first().first(), "up");

        keys->setDesktopShortcuts({letter});
        QVERIFY(waitUntil([&] { return keys->desktopTriggers().size() == 1; }));
        QCOMPARE(m_portal.sessions.size(), 2);
        m_portal.closeSession();
        QVERIFY(waitUntil([&] { return lost.size() == 1 && keys->reach() == KeyReach::ownWindows; }));
        // Not asked for again by itself, but with the next change: that session is the third.
        keys->setDesktopShortcuts({letter});
        QVERIFY(waitUntil([&] { return keys->reach() == KeyReach::desktop; }));
        QCOMPARE(m_portal.sessions.size(), 3);
    }

    void keysThatAreTakenWithTheSessionAreNotBoundOnceMore() {
        QVERIFY(offersPortal());
        m_portal.takesKeysWithTheSession = true;
        m_portal.bindings = 0;
        m_portal.sessions.clear();
        const WatchedKeys keys;
        keys->setDesktopShortcuts({up, letter});
        QVERIFY(waitUntil([&] { return keys->desktopTriggers().size() == 2; }));
        keys->setDesktopShortcuts({up});
        QVERIFY(waitUntil([&] { return keys->desktopTriggers().size() == 1; }));
        QCOMPARE(m_portal.bindings, 0);
        // One program in the desktop's settings, whose keys its user may have changed.
        QCOMPARE(m_portal.sessions.size(), 2);
        QCOMPARE(m_portal.sessions.first(), m_portal.sessions.last());
        QCOMPARE(m_registry.applications.first(), "com.example.Test");
        m_portal.takesKeysWithTheSession = false;
    }

    void thePortalComesAndGoes() {
        const LogCapture log;
        QDBusConnection("desktop").unregisterService(portalService);
        const WatchedKeys keys;
        keys->setDesktopShortcuts({up});
        QVERIFY(waitUntil([&] { return log.contains("this program's windows only"); }));
        QCOMPARE(keys->reach(), KeyReach::ownWindows);
        QVERIFY(offersPortal());
        QVERIFY(waitUntil([&] { return keys->reach() == KeyReach::desktop; }));
        QDBusConnection("desktop").unregisterService(portalService);
        QVERIFY(waitUntil([&] { return keys->reach() == KeyReach::ownWindows; }));
        m_portal.response = 1;
        QVERIFY(offersPortal());
        QVERIFY(waitUntil([&] { return log.contains("The desktop refuses to watch the keys"); }));
        QVERIFY(keys->isRefusedByDesktop());
        m_portal.response = 0;
    }

    void sleepEndsWhatIsHeld() {
        const WatchedKeys keys;
        QSignalSpy lost(keys.monitor.get(), &platform::KeyMonitor::keysLost);
        QCoreApplication::processEvents();
        auto message = QDBusMessage::createSignal("/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                                                  "PrepareForSleep");
        QDBusConnection("desktop").send(message << true);
        QVERIFY(waitUntil([&] { return lost.size() == 1; }));
    }
};

int main(int argc, char* argv[]) {
    GlobalShortcutsPortalTest test;
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    QGuiApplication::setDesktopFileName("com.example.Test");
    return QTest::qExec(&test, argc, argv);
}

#include "GlobalShortcutsPortalTest.moc"
