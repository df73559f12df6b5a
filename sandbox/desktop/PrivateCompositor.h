#pragma once

#include "sandbox/desktop/ChildProcess.h"
#include "sandbox/desktop/PrivateDesktop.h"

#include <QDir>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <optional>

enum class CompositorKind { kwin, gnome, sway };

// Screens side by side, each of `size` in points.
struct CompositorScreens {
    QSize size{1280, 900};
    int count = 1;
    int scale = 1;
};

// Accepts "kwin", "gnome" and "sway"; returns nullopt for any other name.
std::optional<CompositorKind> compositorNamed(const QString& name);

// A common Wayland compositor without a screen, with XWayland, folders and a bus of its own. If this process
// is root's, it runs as an unprivileged user, since two of the compositors refuse root. It ends with this
// object, or with this process.
class PrivateCompositor : public PrivateDesktop {
public:
    // Blocks until clients can connect. Needs no application object; create a QGuiApplication afterwards.
    static std::unique_ptr<PrivateCompositor> start(CompositorKind kind, CompositorScreens screens = {});

    QSize size() const override { return sizeInPoints() * scaleOfClients(); }
    QSize sizeInPoints() const { return {m_screens.size.width() * m_screens.count, m_screens.size.height()}; }
    // Returns how many pixels XWayland's clients draw for a point; the compositor enlarges the rest.
    virtual int scaleOfClients() const { return 1; }
    void useInThisProcess() const override;
    // Shows the first or the second workspace, numbered from 0.
    virtual void showWorkspace(int index) const = 0;
    // Returns the environment that makes a process a client of XWayland, of Wayland itself and of the bus.
    QProcessEnvironment clientEnvironment() const;
    QString busAddress() const;

protected:
    explicit PrivateCompositor(CompositorScreens screens);

    const CompositorScreens& screens() const { return m_screens; }
    QString path(const QString& name) const { return m_folder.filePath(name); }
    QString runtimePath(const QString& name) const { return path(QStringLiteral("run/") + name); }
    // Writes a file that belongs to the compositor's user, as do the folders on the way to it.
    void write(const QString& name, const QByteArray& text, bool isProgram = false) const;
    // The environment of the compositor and its helpers; nothing in it comes from this process.
    QProcessEnvironment& environment() { return m_environment; }
    void startBus(const QString& socket);
    void startCompositor(const QString& program, const QStringList& arguments);
    // Run a program as the compositor's user or, as a client, as this process's user, and return its output.
    QString runInside(const QString& program, const QStringList& arguments) const;
    QString runClient(const QString& program, const QStringList& arguments) const;
    // Returns a command that connects to the compositor's Wayland socket as the compositor's user.
    QStringList relay() const;
    // Throws with the end of the compositor's log if it does not happen.
    void await(const QString& what, const std::function<bool()>& happens);
    // Returns a script for the compositor to run at its start. It writes the variables that clients need.
    QString readyScript() const;
    void awaitReadyScript();
    // Tells X11 programs the scale, as the desktop's settings daemon does in a full session.
    void tellScale() const;

    // DISPLAY and similar variables. The Wayland socket is an absolute path, so that clients keep their own
    // runtime folder.
    QProcessEnvironment m_clientVariables;

private:
    QString run(const QString& program, const QStringList& arguments,
                const QProcessEnvironment& environment) const;
    void own(const QString& path) const;
    QString log() const;

    const CompositorScreens m_screens;
    // The program's name may contain spaces, which the address of a bus may not.
    QTemporaryDir m_folder{QDir::tempPath() + QStringLiteral("/desktop-XXXXXX")};
    QProcessEnvironment m_environment;
    std::vector<std::unique_ptr<ChildProcess>> m_buses;
    ChildProcess m_compositor;
};
