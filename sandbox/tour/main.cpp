#include "sandbox/desktop/PrivateCompositor.h"
#include "sandbox/desktop/PrivateDisplay.h"
#include "sandbox/tour/TourScript.h"

#include "Platform/Core/Tasks.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QTemporaryDir>

#include <cstdio>
#include <map>
#include <optional>
#include <stdexcept>
#include <sys/stat.h>

using namespace corvane;

namespace {

QCoro::Task<void> runTour(TourScript* script, Transcript* transcript) {
    int status = 1;
    try {
        co_await script->run();
        transcript->chapter(QStringLiteral("Everything happened as it should, in %1 s")
                                .arg(transcript->seconds(), 0, 'f', 0));
        status = 0;
    } catch (const std::exception& error) {
        transcript->chapter(QStringLiteral("The tour ends here. Expected, but did not happen: %1")
                                .arg(platform::errorText(error)));
        script->savePicture(QStringLiteral("failure"));
    }
    QCoreApplication::exit(status);
}

struct Options {
    QString fault;
    QString pictures;
    bool dark = false;
    int scale = 1;
    SoundServerKind sound = SoundServerKind::pulseAudio;
    // A plain X server is used without one.
    std::optional<CompositorKind> compositor;
};

// Returns the choice that an option names; anything else ends the tour.
template<typename Value>
Value choice(const QCommandLineParser& parser, const QCommandLineOption& option,
             const std::map<QString, Value>& choices) {
    const auto found = choices.find(parser.value(option));
    if (found == choices.end()) {
        throw std::runtime_error("There is nothing called \"" + parser.value(option).toStdString() +
                                 "\" for --" + option.names().first().toStdString() + '.');
    }
    return found->second;
}

// Parsed before there is an application object: destroying a first one would take the accessibility tree from
// the second.
Options parse(int argc, char* argv[]) {
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "A guided tour of Corvane Lumetra: a whole interview at its windows and on real sound, in a private "
        "session with a display of its own."));
    parser.addHelpOption();
    const QCommandLineOption fault(
        QStringLiteral("fault"),
        QStringLiteral("Leave a fault of the sandbox in place in the middle; the tour then fails."),
        QStringLiteral("action"));
    const QCommandLineOption pictures(QStringLiteral("pictures"),
                                      QStringLiteral("The folder for pictures of the windows."),
                                      QStringLiteral("folder"), QStringLiteral("tour-pictures"));
    const QCommandLineOption dark(QStringLiteral("dark"), QStringLiteral("Take the dark theme."));
    const QCommandLineOption scale(QStringLiteral("scale"), QStringLiteral("Pixels per point: 1 or 2."),
                                   QStringLiteral("factor"), QStringLiteral("1"));
    const QCommandLineOption sound(QStringLiteral("sound"),
                                   QStringLiteral("The sound server: pulseaudio or pipewire."),
                                   QStringLiteral("server"), QStringLiteral("pulseaudio"));
    const QCommandLineOption desktop(
        QStringLiteral("desktop"),
        QStringLiteral("Where the windows are shown: x11, or XWayland on kwin, gnome or sway."),
        QStringLiteral("desktop"), QStringLiteral("x11"));
    parser.addOptions({fault, pictures, dark, scale, sound, desktop});
    parser.process(QStringList(argv, argv + argc));
    return {.fault = parser.value(fault),
            .pictures = parser.value(pictures),
            .dark = parser.isSet(dark),
            .scale = std::clamp(parser.value(scale).toInt(), 1, 2),
            .sound = choice<SoundServerKind>(parser, sound,
                                             {{QStringLiteral("pulseaudio"), SoundServerKind::pulseAudio},
                                              {QStringLiteral("pipewire"), SoundServerKind::pipeWire}}),
            .compositor =
                choice<std::optional<CompositorKind>>(parser, desktop,
                                                      {{QStringLiteral("x11"), std::nullopt},
                                                       {QStringLiteral("kwin"), CompositorKind::kwin},
                                                       {QStringLiteral("gnome"), CompositorKind::gnome},
                                                       {QStringLiteral("sway"), CompositorKind::sway}})};
}

} // namespace

int main(int argc, char* argv[]) {
    umask(S_IRWXG | S_IRWXO);
    Transcript transcript;
    try {
        const auto options = parse(argc, argv);
        transcript.chapter(QStringLiteral("Corvane Lumetra: a guided tour"));
        const auto size = QSize(1280, 900) * options.scale;
        const auto compositor = options.compositor
                                    ? PrivateCompositor::start(*options.compositor, {.scale = options.scale})
                                    : nullptr;
        const auto plain = compositor ? nullptr : std::make_unique<PrivateDisplay>(size);
        const auto& display = compositor ? static_cast<const PrivateDesktop&>(*compositor) : *plain;
        display.useInThisProcess();
        qputenv("QT_QPA_PLATFORM", "xcb");
        // Used until the session has its own.
        const QTemporaryDir runtime;
        qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
        qputenv("QT_SCALE_FACTOR", QByteArray::number(compositor ? 1 : options.scale));
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
        QGuiApplication application(argc, argv);
        QGuiApplication::setQuitOnLastWindowClosed(false);
        TourDesktop desktop(options.sound);
        // The session has hidden the display.
        display.useInThisProcess();
        const auto folder = QCoreApplication::applicationDirPath();
        desktop.start(folder + QStringLiteral("/corvane-sandbox"),
                      compositor ? compositor->busAddress() : QString());
        transcript.say(
            QStringLiteral("tour"),
            QStringLiteral("a private session is up: display, bus, secret service, sound server, sandbox"));
        TourScript script(desktop, display, transcript,
                          {.program = folder + QStringLiteral("/corvane-lumetra"),
                           .fault = options.fault,
                           .pictures = options.pictures,
                           .dark = options.dark});
        QMetaObject::invokeMethod(
            &application, [&] { platform::startTask(runTour(&script, &transcript), "tour"); },
            Qt::QueuedConnection);
        return QCoreApplication::exec();
    } catch (const std::exception& error) {
        transcript.say(QStringLiteral("tour"), QStringLiteral("cannot begin: ") + platform::errorText(error));
        return 1;
    }
}
