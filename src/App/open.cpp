#include "App/ApplicationId.h"
#include "Platform/Desktop/ApplicationCall.h"

#include <QCoreApplication>

// The command of the desktop entry, for launchers that do not call the bus themselves: the links that it is
// given reach the program where it runs, or start it.
int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    auto links = QCoreApplication::arguments().mid(1);
    links.removeAll({});
    const bool reached = platform::openApplication(QLatin1String(corvane::applicationId), links,
                                                   QCoreApplication::applicationDirPath() +
                                                       QStringLiteral("/corvane-lumetra"));
    return reached ? 0 : 1;
}
