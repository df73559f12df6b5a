#include "sandbox/desktop/Compositors.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QFile>
#include <QStandardPaths>
#include <QUuid>

#include <array>
#include <stdexcept>

#include <unistd.h>

namespace {

constexpr int replyTimeout = 10000; // ms

// Programs of X11 scale themselves, as Plasma has it by default.
constexpr const char* kwinSettings = R"([Xwayland]
Scale=%1

[Desktops]
Number=2
)";

QByteArray contentsOf(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("KWin is not installed.");
    }
    return file.readAll();
}

} // namespace

KWinCompositor::KWinCompositor(CompositorScreens screens)
    : PrivateCompositor(screens) {
    for (const auto& [name, value] :
         {std::pair("XDG_CURRENT_DESKTOP", "KDE"), std::pair("KDE_FULL_SESSION", "true"),
          std::pair("KDE_SESSION_VERSION", "5"), std::pair("KWIN_WAYLAND_NO_PERMISSION_CHECKS", "1"),
          std::pair("KWIN_SCREENSHOT_NO_PERMISSION_CHECKS", "1")}) {
        environment().insert(QLatin1String(name), QLatin1String(value));
    }
    // Uses a copy without the file capability of the installed program, which a private session cannot have.
    // KWin's platform plugin requires this name.
    const auto program = QStringLiteral("kwin_wayland");
    write(program, contentsOf(QStandardPaths::findExecutable(program)), true);
    const auto scale = QString::number(screens.scale);
    write(QStringLiteral("home/.config/kwinrc"), QString::fromLatin1(kwinSettings).arg(scale).toUtf8());
    startCompositor(path(program),
                    {QStringLiteral("--virtual"), QStringLiteral("--width"),
                     QString::number(screens.size.width()), QStringLiteral("--height"),
                     QString::number(screens.size.height()), QStringLiteral("--scale"), scale,
                     QStringLiteral("--output-count"), QString::number(screens.count),
                     QStringLiteral("--xwayland"), QStringLiteral("--no-lockscreen"), readyScript()});
    awaitReadyScript();
    m_clientVariables.insert(QStringLiteral("KDE_FULL_SESSION"), QStringLiteral("true"));
    m_clientVariables.insert(QStringLiteral("KDE_SESSION_VERSION"), QStringLiteral("5"));
    tellScale();
}

KWinHands& KWinCompositor::hands() const {
    if (!m_hands) {
        m_hands = std::make_unique<KWinHands>(relay());
    }
    return *m_hands;
}

void KWinCompositor::showWorkspace(int index) const {
    runClient(QStringLiteral("gdbus"),
              {QStringLiteral("call"), QStringLiteral("--session"), QStringLiteral("--dest"),
               QStringLiteral("org.kde.KWin"), QStringLiteral("--object-path"), QStringLiteral("/KWin"),
               QStringLiteral("--method"), QStringLiteral("org.kde.KWin.setCurrentDesktop"),
               QString::number(index + 1)});
}

QImage KWinCompositor::picture() const {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0) {
        throw std::runtime_error("No pipe for KWin's picture.");
    }
    const auto name = QUuid::createUuid().toString();
    QVariantMap about;
    {
        auto bus = QDBusConnection::connectToBus(busAddress(), name);
        auto call = QDBusMessage::createMethodCall(
            QStringLiteral("org.kde.KWin"), QStringLiteral("/org/kde/KWin/ScreenShot2"),
            QStringLiteral("org.kde.KWin.ScreenShot2"), QStringLiteral("CaptureWorkspace"));
        call.setArguments({QVariantMap(), QVariant::fromValue(QDBusUnixFileDescriptor(ends[1]))});
        ::close(ends[1]);
        const auto answer = bus.call(call, QDBus::Block, replyTimeout);
        about = qdbus_cast<QVariantMap>(answer.arguments().value(0));
        if (about.isEmpty()) {
            ::close(ends[0]);
            throw std::runtime_error("KWin gives no picture: " + answer.errorMessage().toStdString());
        }
    }
    QDBusConnection::disconnectFromBus(name);
    QFile pixels;
    pixels.open(ends[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    const auto bytes = pixels.readAll();
    const auto number = [&about](const char* key) { return about.value(QLatin1String(key)).toInt(); };
    return QImage(reinterpret_cast<const uchar*>(bytes.constData()), number("width"), number("height"),
                  number("stride"), static_cast<QImage::Format>(number("format")))
        .copy();
}
