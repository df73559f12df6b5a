#pragma once

#include "sandbox/desktop/PrivateSession.h"
#include "sandbox/desktop/PrivateSound.h"

#include <QJsonObject>
#include <QProcess>

// A private desktop for the tour: folders, a session bus, a secret service and a sound server of its own, and
// the stand-in for the sign-in service and the backend. The user's session is neither seen nor changed.
// Blocks; throws std::runtime_error.
class TourDesktop {
public:
    explicit TourDesktop(SoundServerKind sound = SoundServerKind::pulseAudio);
    ~TourDesktop();

    // Moves this process and its children to this desktop, on a private bus or on the given one.
    void start(const QString& sandboxProgram, const QString& busAddress = {});
    // Starts the stand-in. A restart uses the same ports and data.
    void startSandbox();
    void stopSandbox();
    // Starts the secret service, also again after its end.
    bool startSecrets();

    PrivateSound& sound() { return m_sound; }
    PrivateSession& session() { return m_session; }
    // Returns the sandbox's description: addresses, keys, the code.
    const QJsonObject& sandbox() const { return m_ready; }
    // Returns the folder with everything that the programs of this desktop leave behind.
    QString folder() const { return m_session.folder(); }

    // Play a file that libsndfile can read into the microphone, or as the other side of the call.
    SoundPlayback interviewerSays(const QString& file) {
        return m_sound.playFile(file, QStringLiteral("headset.feed"));
    }
    SoundPlayback candidateSays(const QString& file) {
        return m_sound.playFile(file, QStringLiteral("speakers"));
    }
    // Writes a text spoken by a synthetic voice to a file and returns its path. `name` distinguishes the
    // files.
    QString speech(const QString& name, const QString& text);
    // Replaces the tools that ask for an administrator's consent and install packages; the replacement only
    // keeps a copy of the package. Returns the path of the copy.
    QString installFakePackageTools();
    // Returns the arguments with which gdbus makes a program of this desktop open the link to an interview.
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
