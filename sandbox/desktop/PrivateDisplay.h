#pragma once

#include "sandbox/desktop/ChildProcess.h"
#include "sandbox/desktop/PrivateDesktop.h"

#include <QList>
#include <QRect>
#include <QTemporaryDir>

// An X server of its own without a screen to look at, with a window manager and a compositor or without.
// Operations block until it is done and throw std::runtime_error. It ends with this object, or with this
// process.
class PrivateDisplay : public PrivateDesktop {
public:
    // openbox comes with the compositor picom.
    enum class Manager { openbox, none };

    // Needs no application object: a QGuiApplication is made after it.
    explicit PrivateDisplay(QSize size = {1280, 900}, Manager manager = Manager::openbox);

    // For DISPLAY, of this process and its children.
    QString name() const { return m_name; }
    QSize size() const override { return m_size; }
    void useInThisProcess() const override;
    void movePointer(QPoint place) const override;
    void setButton(bool pressed) const override;
    void type(const QString& text) const override;
    void pressKeys(const QString& keys) const override;
    QImage picture() const override;
    // Several screens in place of the one, the main screen first. Before programs ask for them.
    void splitIntoScreens(const QList<QRect>& screens) const;
    // What `xdotool` prints with these arguments.
    QString xdotool(const QStringList& arguments) const;
    // The id of the window with this title, once it is there.
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
