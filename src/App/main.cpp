#include "CorvaneApp.h"
#include "TerminationSignals.h"

#include <QCoreApplication>

#include <sys/stat.h>

int main(int argc, char* argv[]) {
    // What the program writes is for its user alone.
    umask(S_IRWXG | S_IRWXO);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Corvane Lumetra"));
    platform::quitOnTerminationSignals();
    CorvaneApp app(PlatformServices::ofThisDesktop(),
                   platform::makeSessionApplication(QStringLiteral("com.corvane.Lumetra")));
    return app.run();
}
