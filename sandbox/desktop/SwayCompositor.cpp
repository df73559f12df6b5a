#include "sandbox/desktop/Compositors.h"

#include <stdexcept>

namespace {

constexpr const char* configuration = R"(xwayland force
default_border none
default_floating_border none
seat seat0 fallback true
output HEADLESS-1 resolution %1x%2 position 0,0 scale 1
exec %3
)";

} // namespace

SwayCompositor::SwayCompositor(QSize size)
    : PrivateCompositor(size) {
    environment().insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("sway"));
    environment().insert(QStringLiteral("WLR_BACKENDS"), QStringLiteral("headless"));
    environment().insert(QStringLiteral("WLR_LIBINPUT_NO_DEVICES"), QStringLiteral("1"));
    environment().insert(QStringLiteral("WLR_RENDERER"), QStringLiteral("pixman"));
    const auto file = QStringLiteral("config");
    write(
        file,
        QString::fromLatin1(configuration).arg(size.width()).arg(size.height()).arg(readyScript()).toUtf8());
    startCompositor(QStringLiteral("sway"), {QStringLiteral("-c"), path(file)});
    awaitReadyScript();
    // This keyboard stays idle: as long as there is one, clients listen to the keyboard and miss nothing of
    // the next one.
    m_keyboard.start(QStringLiteral("wtype"), {QStringLiteral("-s"), QStringLiteral("2000000000")},
                     clientEnvironment(), path(QStringLiteral("wtype.log")));
}

WlrootsPointer& SwayCompositor::pointer() const {
    if (!m_pointer) {
        m_pointer = std::make_unique<WlrootsPointer>(relay(), size());
    }
    return *m_pointer;
}

void SwayCompositor::type(const QString& text) const {
    runClient(QStringLiteral("wtype"), {QStringLiteral("-s"), QStringLiteral("60"), QStringLiteral("-d"),
                                        QStringLiteral("5"), QStringLiteral("--"), text});
}

void SwayCompositor::pressKeys(const QString& keys) const {
    auto names = keys.split(u'+');
    const auto last = names.takeLast();
    // XWayland's clients ask for the layout of each new keyboard, and lose keys that arrive before the
    // answer.
    const QStringList rest{QStringLiteral("-s"), QStringLiteral("60")};
    auto arguments = rest;
    for (const auto& name : names) {
        arguments += {QStringLiteral("-M"), name};
    }
    arguments += rest + QStringList{QStringLiteral("-k"), last} + rest;
    for (const auto& name : names) {
        arguments += {QStringLiteral("-m"), name};
    }
    runClient(QStringLiteral("wtype"), arguments);
}

QImage SwayCompositor::picture() const {
    const auto file = path(QStringLiteral("picture.png"));
    runClient(QStringLiteral("grim"), {file});
    return QImage(file);
}
