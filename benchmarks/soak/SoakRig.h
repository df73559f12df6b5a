#pragma once

#include "benchmarks/soak/ScaledClock.h"
#include "benchmarks/soak/SentSound.h"
#include "benchmarks/soak/SimulatedVoices.h"
#include "tests/Support/TestProgram.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>

#include <random>
#include <stdexcept>

namespace corvane {

// Something is not as it has to be.
class SoakFailure : public std::runtime_error {
public:
    explicit SoakFailure(const QString& what)
        : std::runtime_error(what.toStdString()) {}
};

// The whole program at ten times speed, its windows without a screen: over its real network to the stand-in,
// which is a process of its own; its sound and its secrets come from fakes. Times are simulated unless said
// otherwise. Main thread.
class SoakRig {
public:
    using Seconds = std::chrono::duration<double>;
    static constexpr int speed = 10;

    explicit SoakRig(quint64 seed);
    ~SoakRig();

    // Signs in, starts the interview and has both sides speak.
    void begin();
    // The interview pauses, so that all that was sent has to have come.
    void end();

    Seconds time() const;
    void wait(Seconds time);
    int between(int low, int high) { return std::uniform_int_distribution(low, high)(random); }

    // From now on frames may be lost, as far as the link breaks.
    void noteFault();
    // At the stand-in's control address.
    void order(const QString& action, const QJsonObject& parameters = {});
    QJsonObject serverState();
    void killServer();
    void startServer();
    // Nothing of this process runs for so long.
    void freeze(Seconds time);

    void expect(bool holds, const QString& what) const;
    void expectSoon(const std::function<bool()>& condition, const QString& what,
                    Seconds within = Seconds(120));
    // The link was lost during the interview: it is paused and silent, and the user is told.
    void expectPaused();
    // It stays as it is for so long: on the same link, with both sides.
    void expectUndisturbed(Seconds time);
    // The interview runs again, without the user's doing anything.
    void expectStreaming();
    // As a user who sees that nothing moves any more: presses "Reconnect" until it does.
    void reconnectByHand();
    // All is well, at the server too, and every frame came that had to.
    void expectHealthy();

    InterviewViewModel& interview() { return app->interviewViewModel(); }
    WebSocketService& link() { return app->webSocketService(); }
    bool captures() const { return audio->microphoneRuns() && audio->systemRuns(); }
    void startInterview();
    void signIn();

    std::mt19937_64 random;
    LogCapture log;
    std::unique_ptr<AppDelegate> app;
    FakeAudioHost* audio = nullptr;
    MemorySecretStore* secrets = nullptr;
    platform::ConnectivityMonitor* connectivity = nullptr;
    QTemporaryDir folder;

    int links = 0; // that were opened, one after the other
    quint64 received = 0;
    quint64 lost = 0;
    int pressed = 0; // times that the user had to reconnect

private:
    PlatformServices services();
    void followPauses();
    void judge(bool isOver);
    bool isServerHealthy(const QJsonObject& before, const QJsonObject& now) const;

    QTemporaryDir m_serverFolder;
    QProcess m_server;
    QJsonObject m_addresses;
    std::unique_ptr<platform::HttpClient> m_control;
    SentSound m_sent;
    SentSound::Time m_broken = SentSound::Time::clock::now();
    quint64 m_judgedLinks = 0; // of this run of the server
    int m_pauses = 0;          // since the fault, and not yet expected
    QString m_wrongPause;
    std::chrono::steady_clock::time_point m_start;
    std::unique_ptr<SimulatedVoices> m_voices;
};

} // namespace corvane
