#include "sandbox/desktop/PrivateDisplay.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QGuiApplication>
#include <QPixmap>
#include <QProcess>
#include <QScreen>
#include <QThread>

#include <stdexcept>

namespace {

constexpr int displayTimeout = 15000; // ms

template<typename Condition>
void await(const QString& what, Condition holds) {
    const QDeadlineTimer limit(displayTimeout);
    while (!holds()) {
        if (limit.hasExpired()) {
            refuse(what);
        }
        QThread::msleep(20);
    }
}

} // namespace

PrivateDisplay::PrivateDisplay(QSize size, Manager manager)
    : m_size(size) {
    const auto file = [this](const char* name) { return m_folder.filePath(QLatin1String(name)); };
    const auto environment = QProcessEnvironment::systemEnvironment();
    // The server chooses a free number and prints it.
    m_server.start(QStringLiteral("Xvfb"),
                   {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-nolisten"),
                    QStringLiteral("tcp"), QStringLiteral("-noreset"), QStringLiteral("-screen"),
                    QStringLiteral("0"), QStringLiteral("%1x%2x24").arg(size.width()).arg(size.height())},
                   environment, file("server"));
    await(QStringLiteral("No X server: Xvfb did not start."), [&] {
        QFile output(file("server"));
        const auto text = output.open(QIODevice::ReadOnly) ? output.readAll() : QByteArray();
        bool isNumber = false;
        const auto number = text.contains('\n') ? text.trimmed().split('\n').last().toInt(&isNumber) : 0;
        m_name = isNumber ? QStringLiteral(":%1").arg(number) : QString();
        return isNumber;
    });
    if (manager == Manager::openbox) {
        startManager();
    }
}

void PrivateDisplay::startManager() {
    const auto file = [this](const char* name) { return m_folder.filePath(QLatin1String(name)); };
    auto onDisplay = QProcessEnvironment::systemEnvironment();
    onDisplay.insert(QStringLiteral("DISPLAY"), m_name);
    m_windowManager.start(QStringLiteral("openbox"), {}, onDisplay, file("openbox"));
    await(QStringLiteral("No window manager: openbox did not start."), [this] {
        return run(QStringLiteral("xprop"),
                   {QStringLiteral("-root"), QStringLiteral("_NET_SUPPORTING_WM_CHECK")})
            .contains(QLatin1String("window id"));
    });
    m_compositor.start(QStringLiteral("picom"), {QStringLiteral("--backend"), QStringLiteral("xrender")},
                       onDisplay, file("picom"));
    await(QStringLiteral("No compositor: picom did not start."), [this] {
        return run(QStringLiteral("xwininfo"), {QStringLiteral("-root"), QStringLiteral("-children")})
            .contains(QLatin1String("picom"));
    });
}

void PrivateDisplay::useInThisProcess() const {
    qputenv("DISPLAY", m_name.toLatin1());
    qunsetenv("WAYLAND_DISPLAY");
}

void PrivateDisplay::splitIntoScreens(const QList<QRect>& screens) const {
    for (qsizetype index = 0; index < screens.size(); ++index) {
        const auto& screen = screens.at(index);
        const auto millimetres = [](int pixels) { return pixels * 254 / 960; }; // 96 to the inch
        const auto place = QStringLiteral("%1/%2x%3/%4+%5+%6")
                               .arg(screen.width())
                               .arg(millimetres(screen.width()))
                               .arg(screen.height())
                               .arg(millimetres(screen.height()))
                               .arg(screen.x())
                               .arg(screen.y());
        // The server's only output belongs to the first screen.
        const auto output = index == 0 ? QStringLiteral("screen") : QStringLiteral("none");
        run(QStringLiteral("xrandr"),
            {QStringLiteral("--setmonitor"), QStringLiteral("part%1").arg(index), place, output});
    }
}

QString PrivateDisplay::run(const QString& program, const QStringList& arguments) const {
    QProcess process;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), m_name);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(displayTimeout) || process.exitStatus() != QProcess::NormalExit) {
        refuse(program + QStringLiteral(": ") + process.errorString());
    }
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

void PrivateDisplay::movePointer(QPoint place) const {
    xdotool({QStringLiteral("mousemove"), QString::number(place.x()), QString::number(place.y())});
}

void PrivateDisplay::setButton(bool pressed) const {
    xdotool({pressed ? QStringLiteral("mousedown") : QStringLiteral("mouseup"), QStringLiteral("1")});
}

void PrivateDisplay::type(const QString& text) const {
    xdotool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("5"), text});
}

void PrivateDisplay::pressKeys(const QString& keys) const {
    xdotool({QStringLiteral("key"), keys});
}

QImage PrivateDisplay::picture() const {
    return QGuiApplication::primaryScreen()->grabWindow(0).toImage();
}

QString PrivateDisplay::xdotool(const QStringList& arguments) const {
    return run(QStringLiteral("xdotool"), arguments);
}

// Does not use xdotool's --sync, which waits forever.
QString PrivateDisplay::awaitWindow(const QString& title) const {
    QString window;
    await(QStringLiteral("No window with the title ") + title, [&] {
        window = xdotool({QStringLiteral("search"), QStringLiteral("--onlyvisible"), QStringLiteral("--name"),
                          QStringLiteral("^%1$").arg(title)});
        return !window.isEmpty();
    });
    return window;
}
