#pragma once

#include "sandbox/desktop/ChildProcess.h"

#include <QFile>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QRasterWindow>
#include <QTemporaryDir>

#include <cstdio>

// Another program's window, all over the screen: it says what it is given. F11 makes it a full-screen one.
class NeighbourWindow : public QRasterWindow {
protected:
    void mousePressEvent(QMouseEvent*) override { say("press"); }
    void keyPressEvent(QKeyEvent* event) override {
        if (event->key() == Qt::Key_F11) {
            setWindowStates(windowStates() ^ Qt::WindowFullScreen);
        }
        say("key " + event->text().toUtf8());
    }

private:
    static void say(const QByteArray& line) {
        std::puts(line.constData());
        std::fflush(stdout);
    }
};

// The process of that window, made by starting this test's program once more.
class Neighbour {
public:
    static constexpr auto argument = "neighbour";

    static int run(int argc, char* argv[]) {
        const QGuiApplication application(argc, argv);
        NeighbourWindow window;
        window.setTitle(QLatin1String(argument));
        window.setGeometry(window.screen()->availableGeometry().adjusted(8, 32, -8, -8));
        window.show();
        return QGuiApplication::exec();
    }

    void start() {
        m_process.start(QCoreApplication::applicationFilePath(), {QLatin1String(argument)},
                        QProcessEnvironment::systemEnvironment(), path());
    }
    // How often it has said so.
    qsizetype count(const QByteArray& line) const {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll().split('\n').count(line) : 0;
    }

private:
    QString path() const { return m_folder.filePath(QStringLiteral("said")); }

    QTemporaryDir m_folder;
    ChildProcess m_process;
};
