#pragma once

#include "sandbox/desktop/PrivateDisplay.h"
#include "tests/Desktop/Neighbour.h"

#include <QQuickWindow>
#include <QTest>

// Of the program that runs; null when it has none of them.
template<typename Window>
Window* windowOf() {
    for (auto* window : QGuiApplication::topLevelWindows()) {
        if (auto* found = qobject_cast<Window*>(window)) {
            return found;
        }
    }
    return nullptr;
}

template<typename Test, typename Desktop, typename... Facts>
int runOnDesktop(int argc, char* argv[], const Desktop& desktop, Facts... facts) {
    desktop.useInThisProcess();
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_SCALE_FACTOR", "1");
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QGuiApplication application(argc, argv);
    QGuiApplication::setQuitOnLastWindowClosed(false);
    Test test(desktop, facts...);
    return QTest::qExec(&test, argc, argv);
}

// Runs a test of windows on this display; started by such a test with the neighbour's argument, the program
// is the neighbour.
template<typename Test>
int runOnDisplay(int argc, char* argv[], const QSize& size = {1280, 900}) {
    if (argc > 1 && qstrcmp(argv[1], Neighbour::argument) == 0) {
        return Neighbour::run(argc, argv);
    }
    // The accessible tree is that of the first application object: the display comes before it.
    const PrivateDisplay display(size);
    return runOnDesktop<Test>(argc, argv, display);
}
