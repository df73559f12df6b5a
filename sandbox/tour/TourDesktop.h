#pragma once

#include "sandbox/desktop/PrivateSession.h"
#include "sandbox/desktop/PrivateSound.h"

#include <QJsonObject>
#include <QProcess>

// A desktop for the tour alone: folders, a session bus, a secret service and a sound server of its own, and
// the stand-in for the sign-in service and the backend. Nothing of the user's session is seen or changed.
// Blocking; throws std::runtime_error.
class TourDesktop {
public:
    explicit TourDesktop(SoundServerKind sound = SoundServerKind::pulseAudio);
    ~TourDesktop();

    // From now on this process and its children live on this desktop, on a bus of its own or on this one.
    void start(const QString& sandboxProgram, const QString& busAddress = {});
    // Starts the stand-in, again after a stop: on the same ports and with the same memory.
    void startSandbox();
    void stopSandbox();
    // Starts the secret service, again after its end.
    bool startSecrets();

    PrivateSound& sound() { return m_sound; }
    PrivateSession& session() { return m_session; }
    // The sandbox's own description: addresses, keys, the code.
    const QJsonObject& sandbox() const { return m_ready; }
    // Holds all that the programs of this desktop leave behind.
    QString folder() const { return m_session.folder(); }

    // What is said into the microphone, and what the other side of the call says. Files that libsndfile
    // reads.
    SoundPlayback interviewerSays(const QString& file) {
        return m_sound.playFile(file, QStringLiteral("headset.feed"));
    }
    SoundPlayback candidateSays(const QString& file) {
        return m_sound.playFile(file, QStringLiteral("speakers"));
    }
    // Speech of a synthetic voice, as a file. `name` tells the files apart.
    QString speech(const QString& name, const QString& text);
    // Stands in for what asks for an administrator's consent, and for the package manager, which only keeps a
    // copy of the package. Gives the copy's path.
    QString installFakePackageTools();
    // What gdbus calls to have a program of this desktop open the link to an interview.
    static QStringList openLinkArguments(const QString& interviewId);
    void plugMicrophone();
    void plugSpeakers();

private:
    QString writeApplicationInfo();
    QString filePath(const QString& name) const { return folder() + u'/' + name; }

    PrivateSession m_session;
    PrivateSound m_sound;
    QString m_sandboxProgram;
    QProcess m_sandbox;
    QJsonObject m_ready;
};
