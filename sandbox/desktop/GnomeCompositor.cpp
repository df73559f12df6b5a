#include "sandbox/desktop/Compositors.h"

#include <QDir>

namespace {

// No animations and no welcome dialogue.
constexpr const char* gnomeSettings = R"([org/gnome/desktop/interface]
enable-animations=false
scaling-factor=uint32 %1

[org/gnome/desktop/notifications]
show-banners=false

[org/gnome/shell]
welcome-dialog-last-shown-version='999'
)";

constexpr const char* hands = R"(
const {Clutter} = imports.gi;
const seat = Clutter.get_default_backend().get_default_seat();
global.testPointer = seat.create_virtual_device(Clutter.InputDeviceType.POINTER_DEVICE);
global.testKeyboard = seat.create_virtual_device(Clutter.InputDeviceType.KEYBOARD_DEVICE);
imports.ui.main.overview.hide();
)";

} // namespace

GnomeCompositor::GnomeCompositor(CompositorScreens screens)
    : PrivateCompositor(screens) {
    environment().insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("GNOME"));
    environment().insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("keyfile"));
    environment().insert(QStringLiteral("NO_AT_BRIDGE"), QStringLiteral("1"));
    write(QStringLiteral("home/.config/glib-2.0/settings/keyfile"),
          QString::fromLatin1(gnomeSettings).arg(screens.scale).toUtf8());
    // Without the system's services, none of which belong to the user of the test.
    startBus(QStringLiteral("system"));
    environment().insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"),
                         QStringLiteral("unix:path=") + runtimePath(QStringLiteral("system")));
    const auto socket = QStringLiteral("wayland-test");
    QStringList arguments{QStringLiteral("--headless"), QStringLiteral("--wayland"),
                          QStringLiteral("--wayland-display"), socket, QStringLiteral("--unsafe-mode")};
    const auto pixels = screens.size * screens.scale;
    for (int screen = 0; screen < screens.count; ++screen) {
        arguments += {QStringLiteral("--virtual-monitor"),
                      QStringLiteral("%1x%2").arg(pixels.width()).arg(pixels.height())};
    }
    startCompositor(QStringLiteral("gnome-shell"), arguments);
    QString display;
    await(QStringLiteral("its scripts"), [&] {
        try {
            display = evaluate(QStringLiteral("imports.ui.main.layoutManager._startingUp"
                                              " ? '' : imports.gi.GLib.getenv('DISPLAY')"))
                          .remove(u'"');
        } catch (const std::runtime_error&) {
            return false;
        }
        return !display.isEmpty();
    });
    const auto authority =
        QDir(path(QStringLiteral("run")))
            .entryList({QStringLiteral(".mutter-Xwaylandauth*")}, QDir::Files | QDir::Hidden);
    m_clientVariables.insert(QStringLiteral("DISPLAY"), display);
    m_clientVariables.insert(QStringLiteral("XAUTHORITY"), runtimePath(authority.value(0)));
    m_clientVariables.insert(QStringLiteral("WAYLAND_DISPLAY"), runtimePath(socket));
    tellScale();
    evaluate(QLatin1String(hands));
    await(QStringLiteral("its empty desktop"),
          [&] { return evaluate(QStringLiteral("imports.ui.main.overview.visible")) == u"false"; });
}

QString GnomeCompositor::evaluate(const QString& script) const {
    auto quoted = script;
    quoted.replace(u'\\', QLatin1String("\\\\")).replace(u'\'', QLatin1String("\\'"));
    const auto answer =
        runInside(QStringLiteral("gdbus"),
                  {QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
                   QStringLiteral("org.gnome.Shell"), QStringLiteral("--object-path"),
                   QStringLiteral("/org/gnome/Shell"), QStringLiteral("--method"),
                   QStringLiteral("org.gnome.Shell.Eval"), u'\'' + quoted + u'\''});
    // (true, 'result')
    if (!answer.startsWith(QLatin1String("(true, "))) {
        throw std::runtime_error("GNOME Shell: " + answer.toStdString() + " to " + script.toStdString());
    }
    return answer.mid(8).chopped(2);
}

void GnomeCompositor::showWorkspace(int index) const {
    evaluate(QStringLiteral("global.workspace_manager.get_workspace_by_index(%1).activate(0)").arg(index));
}

void GnomeCompositor::movePointer(QPoint place) const {
    evaluate(
        QStringLiteral("global.testPointer.notify_absolute_motion(0, %1, %2)").arg(place.x()).arg(place.y()));
}

void GnomeCompositor::setButton(bool pressed) const {
    evaluate(QStringLiteral("global.testPointer.notify_button(0, 1, %1)").arg(pressed ? 1 : 0));
}

void GnomeCompositor::press(const QList<KeyMove>& moves) const {
    QString script;
    for (const auto& [code, down] : moves) {
        script += QStringLiteral("global.testKeyboard.notify_key(0, %1, %2);").arg(code).arg(down ? 1 : 0);
    }
    evaluate(script);
}

QImage GnomeCompositor::picture() const {
    const auto file = path(QStringLiteral("home/picture.png"));
    runInside(QStringLiteral("gdbus"),
              {QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
               QStringLiteral("org.gnome.Shell.Screenshot"), QStringLiteral("--object-path"),
               QStringLiteral("/org/gnome/Shell/Screenshot"), QStringLiteral("--method"),
               QStringLiteral("org.gnome.Shell.Screenshot.Screenshot"), QStringLiteral("false"),
               QStringLiteral("false"), file});
    return QImage(file);
}
