#include "sandbox/desktop/Compositors.h"

#include <QFile>

#include <stdexcept>

namespace {

constexpr const char* configuration = R"(xwayland force
default_border none
seat seat0 fallback true
)";

QByteArray outputs(const CompositorScreens& screens) {
    QString lines;
    const auto pixels = screens.size * screens.scale;
    for (int screen = 0; screen < screens.count; ++screen) {
        lines += QStringLiteral("output HEADLESS-%1 resolution %2x%3 position %4,0 scale %5\n")
                     .arg(screen + 1)
                     .arg(pixels.width())
                     .arg(pixels.height())
                     .arg(screen * screens.size.width())
                     .arg(screens.scale);
    }
    return lines.toUtf8();
}

// Returns the rules that the documentation tells users to have.
QByteArray rules() {
    QFile file(QStringLiteral(CORVANE_SWAY_RULES));
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("There are no rules for sway.");
    }
    return file.readAll();
}

} // namespace

SwayCompositor::SwayCompositor(CompositorScreens screens)
    : PrivateCompositor(screens) {
    environment().insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("sway"));
    environment().insert(QStringLiteral("WLR_BACKENDS"), QStringLiteral("headless"));
    environment().insert(QStringLiteral("WLR_LIBINPUT_NO_DEVICES"), QStringLiteral("1"));
    environment().insert(QStringLiteral("WLR_RENDERER"), QStringLiteral("pixman"));
    environment().insert(QStringLiteral("WLR_HEADLESS_OUTPUTS"), QString::number(screens.count));
    const auto file = QStringLiteral("config");
    write(file, configuration + outputs(screens) + rules() + "exec " + readyScript().toUtf8() + '\n');
    startCompositor(QStringLiteral("sway"), {QStringLiteral("-c"), path(file)});
    awaitReadyScript();
    // The instance name that the rules match.
    m_clientVariables.insert(QStringLiteral("RESOURCE_NAME"), QStringLiteral("corvane-lumetra"));
    // This keyboard stays idle: as long as there is one, clients listen to the keyboard and miss nothing of
    // the next one.
    m_keyboard.start(QStringLiteral("wtype"), {QStringLiteral("-s"), QStringLiteral("2000000000")},
                     clientEnvironment(), path(QStringLiteral("wtype.log")));
}

WlrootsPointer& SwayCompositor::pointer() const {
    if (!m_pointer) {
        m_pointer = std::make_unique<WlrootsPointer>(relay(), sizeInPoints());
    }
    return *m_pointer;
}

void SwayCompositor::showWorkspace(int index) const {
    runClient(QStringLiteral("swaymsg"),
              {QStringLiteral("workspace"), index == 0 ? QStringLiteral("1") : QStringLiteral("other")});
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
