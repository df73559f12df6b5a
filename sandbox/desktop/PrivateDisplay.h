#pragma once

#include "sandbox/desktop/ChildProcess.h"
#include "sandbox/desktop/PrivateDesktop.h"

#include <QList>
#include <QRect>
#include <QTemporaryDir>

// A private X server without a screen, optionally with a window manager and a compositor. Operations block
// until they are done and throw std::runtime_error. It ends with this object, or with this process.
class PrivateDisplay : public PrivateDesktop {
public:
    // openbox is accompanied by the compositor picom.
    enum class Manager { openbox, none };

    // Needs no application object; create a QGuiApplication afterwards.
    explicit PrivateDisplay(QSize size = {1280, 900}, Manager manager = Manager::openbox);

    // Returns the value for DISPLAY.
    QString name() const { return m_name; }
    QSize size() const override { return m_size; }
    void useInThisProcess() const override;
    void movePointer(QPoint place) const override;
    void setButton(bool pressed) const override;
    void type(const QString& text) const override;
    void pressKeys(const QString& keys) const override;
    QImage picture() const override;
    // Splits the display into several screens, the main screen first. Call it before programs ask for them.
    void splitIntoScreens(const QList<QRect>& screens) const;
    // Returns the output of `xdotool` with these arguments.
    QString xdotool(const QStringList& arguments) const;
    // Waits for a window with this title and returns its id.
    QString awaitWindow(const QString& title) const;

private:
    void startManager();
    QString run(const QString& program, const QStringList& arguments) const;

    const QSize m_size;
    QTemporaryDir m_folder;
    QString m_name;
    ChildProcess m_server;
    ChildProcess m_windowManager;
    ChildProcess m_compositor;
};
