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

// "kwin", "gnome" or "sway".
std::optional<CompositorKind> compositorNamed(const QString& name);

// One of the Wayland compositors that people have, without a screen to look at, with XWayland, folders and a
// bus of its own. It runs as a user who has no rights here when this process is root's, since two of them
// refuse root. It ends with this object, or with this process.
class PrivateCompositor : public PrivateDesktop {
public:
    // Blocks until clients can come. Needs no application object: a QGuiApplication is made after it.
    static std::unique_ptr<PrivateCompositor> start(CompositorKind kind, QSize size = {1280, 900});

    QSize size() const override { return m_size; }
    void useInThisProcess() const override;
    // What makes a process its client: of XWayland, of Wayland itself and of the bus.
    QProcessEnvironment clientEnvironment() const;
    QString busAddress() const;

protected:
    explicit PrivateCompositor(QSize size);

    QString path(const QString& name) const { return m_folder.filePath(name); }
    QString runtimePath(const QString& name) const { return path(QStringLiteral("run/") + name); }
    // A file that the compositor's user owns, as every folder on the way to it.
    void write(const QString& name, const QByteArray& text, bool isProgram = false) const;
    // For the compositor and what belongs to it; nothing of this process's own.
    QProcessEnvironment& environment() { return m_environment; }
    void startBus(const QString& socket);
    void startCompositor(const QString& program, const QStringList& arguments);
    // As the compositor's user, or as this process's, who is a client; what it prints.
    QString runInside(const QString& program, const QStringList& arguments) const;
    QString runClient(const QString& program, const QStringList& arguments) const;
    // To the compositor's Wayland socket, as the compositor's user.
    QStringList relay() const;
    // Throws with the compositor's last words when it does not happen.
    void await(const QString& what, const std::function<bool()>& happens);
    // What the compositor runs at its start: tells its variables, in which clients find it.
    QString readyScript() const;
    void awaitReadyScript();

    // DISPLAY and its like. A Wayland socket is given as a whole path, which leaves clients their own runtime
    // folder.
    QProcessEnvironment m_clientVariables;

private:
    QString run(const QString& program, const QStringList& arguments,
                const QProcessEnvironment& environment) const;
    void own(const QString& path) const;
    QString log() const;

    const QSize m_size;
    // The name of the program may hold blanks, which the address of a bus may not.
    QTemporaryDir m_folder{QDir::tempPath() + QStringLiteral("/desktop-XXXXXX")};
    QProcessEnvironment m_environment;
    std::vector<std::unique_ptr<ChildProcess>> m_buses;
    ChildProcess m_compositor;
};
