#include "TourScript.h"

#include "Tasks.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <cstdio>
#include <sys/stat.h>

namespace {

QCoro::Task<void> runTour(TourScript* script, Transcript* transcript) {
    int status = 1;
    try {
        co_await script->run();
        transcript->chapter(QStringLiteral("Everything happened as it should, in %1 s")
                                .arg(transcript->seconds(), 0, 'f', 0));
        status = 0;
    } catch (const std::exception& error) {
        transcript->chapter(
            QStringLiteral("The tour ends here. What did not happen %1").arg(platform::errorText(error)));
    }
    QCoreApplication::exit(status);
}

} // namespace

int main(int argc, char* argv[]) {
    umask(S_IRWXG | S_IRWXO);
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "A guided tour of Corvane Lumetra: a whole interview on real sound, in a private session."));
    parser.addHelpOption();
    const QCommandLineOption fault(
        QStringLiteral("fault"),
        QStringLiteral("Leave a fault of the sandbox uncured in the middle; the tour then fails."),
        QStringLiteral("action"));
    parser.addOption(fault);
    parser.process(application);

    const auto folder = QCoreApplication::applicationDirPath();
    Transcript transcript;
    transcript.chapter(QStringLiteral("Corvane Lumetra: a guided tour"));
    try {
        TourDesktop desktop;
        desktop.start(folder + QStringLiteral("/corvane-sandbox"));
        transcript.say(QStringLiteral("tour"),
                       QStringLiteral("a private session is up: bus, secret service, sound server, sandbox"));
        TourScript script(desktop, transcript, folder + QStringLiteral("/corvane-lumetra"),
                          parser.value(fault));
        QMetaObject::invokeMethod(
            &application, [&] { platform::startTask(runTour(&script, &transcript), "tour"); },
            Qt::QueuedConnection);
        return QCoreApplication::exec();
    } catch (const std::exception& error) {
        transcript.say(QStringLiteral("tour"), QStringLiteral("cannot begin: ") + platform::errorText(error));
        return 1;
    }
}
