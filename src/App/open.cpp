#include "App/ApplicationId.h"
#include "Platform/Desktop/ApplicationCall.h"

#include <QCoreApplication>

// The command in the desktop entry, for launchers that do not use D-Bus activation: passes the links that it
// is given to the running program, or starts the program with them.
int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    auto links = QCoreApplication::arguments().mid(1);
    links.removeAll({});
    const bool reached = platform::openApplication(QLatin1String(corvane::applicationId), links,
                                                   QCoreApplication::applicationDirPath() +
                                                       QStringLiteral("/corvane-lumetra"));
    return reached ? 0 : 1;
}
