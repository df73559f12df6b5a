#pragma once

#include <QObject>
#include <QStringList>

#include <memory>

namespace platform {

// Registers the program on the session bus as org.freedesktop.Application. Links and activations of later
// starts arrive here. Main thread.
class SessionApplication : public QObject {
    Q_OBJECT

public:
    enum class Start {
        // This process is the only instance.
        first,
        // Another instance has been activated: this process should end.
        handedOver,
        // Another instance has the name and does not answer: this process should end, or both would write
        // the same files.
        hung,
        // There is no session bus: the program runs, but links cannot reach it.
        noBus,
    };

    ~SessionApplication() override = default;

    // Registers the object first and the name last, so that no call is lost in between. A call that made the
    // bus start this process is delivered before this returns.
    virtual Start start() = 0;

Q_SIGNALS:
    // The links are passed on as they were written: QUrl would change the case of a scheme or a host.
    void openRequested(QStringList links);
    void activated();
};

// `applicationId` is a bus name in reverse-domain form; the object path follows from it.
std::unique_ptr<SessionApplication> makeSessionApplication(const QString& applicationId);

} // namespace platform
