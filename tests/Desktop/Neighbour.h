#pragma once

#include "sandbox/desktop/ChildProcess.h"

#include <QFile>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QRasterWindow>
#include <QTemporaryDir>

#include <cstdio>

// Another program's window, all over the screen: it says what it is given. F11 makes it a full-screen one.
class NeighbourWindow : public QRasterWindow {
public:
    // All of it.
    static constexpr QColor colour{0, 128, 64};

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(QRect(QPoint(), size()), colour);
        say("shown");
    }
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
        if (isOnWayland()) {
            // It has no say in its place, and a frame would change its look with the focus.
            window.setFlag(Qt::FramelessWindowHint);
            window.showMaximized();
        } else {
            window.show();
        }
        return QGuiApplication::exec();
    }

    enum class Platform { x11, wayland };

    void start(Platform platform = Platform::x11) {
        auto environment = QProcessEnvironment::systemEnvironment();
        if (platform == Platform::wayland) {
            environment.insert("QT_QPA_PLATFORM", "wayland");
            environment.insert("XDG_RUNTIME_DIR", m_folder.path());
        }
        m_process.start(QCoreApplication::applicationFilePath(), {QLatin1String(argument)}, environment,
                        path());
    }
    // How often it has said so.
    qsizetype count(const QByteArray& line) const {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll().split('\n').count(line) : 0;
    }

private:
    static bool isOnWayland() { return QGuiApplication::platformName().startsWith(u"wayland"); }
    QString path() const { return m_folder.filePath(QStringLiteral("said")); }

    QTemporaryDir m_folder;
    ChildProcess m_process;
};
