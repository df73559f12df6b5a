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

// Thrown if something is not as it must be.
class SoakFailure : public std::runtime_error {
public:
    explicit SoakFailure(const QString& what)
        : std::runtime_error(what.toStdString()) {}
};

// The whole program at ten times speed, with its windows offscreen. It uses its real network layer and the
// stand-in in a separate process; its sound and its secrets come from fakes. Times are simulated unless
// stated otherwise. Main thread.
class SoakRig {
public:
    using Seconds = std::chrono::duration<double>;
    static constexpr int speed = 10;

    explicit SoakRig(quint64 seed);
    ~SoakRig();

    // Signs in, starts the interview and lets both sides speak.
    void begin();
    // Pauses the interview, after which everything that was sent must have arrived.
    void end();

    Seconds time() const;
    void wait(Seconds time);
    int between(int low, int high) { return std::uniform_int_distribution(low, high)(random); }

    // From now on frames may be lost if the link breaks.
    void noteFault();
    // Sends an action to the stand-in's control address.
    void order(const QString& action, const QJsonObject& parameters = {});
    QJsonObject serverState();
    void killServer();
    void startServer();
    // Started with this option and a path, the soak acts as another program that locks the database there
    // until its input ends.
    static constexpr auto lockOption = "--lock";
    // Starts and ends another program that locks the database.
    void holdStore();
    void releaseStore();
    bool isStoreHeld() const { return m_holder.state() != QProcess::NotRunning; }
    // Stops this process for so long.
    void freeze(Seconds time);

    void expect(bool holds, const QString& what) const;
    void expectSoon(const std::function<bool()>& condition, const QString& what,
                    Seconds within = Seconds(120));
    // Expects that the link was lost during the interview: it is paused and silent, and the user is told.
    void expectPaused();
    // Expects that the link was lost after the fault, if only for a moment.
    void expectLossFelt();
    // Expects that the interview was silent, and the user told, whenever it paused.
    void expectRightPauses() const;
    // Expects that nothing changes for so long: the same link, with both sides.
    void expectUndisturbed(Seconds time);
    // Expects that the interview runs again, without any action of the user.
    void expectStreaming();
    // Acts like a user who sees no progress: presses "Reconnect" until the interview runs.
    void reconnectByHand();
    // Expects that everything is in order, at the server too, and that every frame arrived that had to.
    void expectHealthy();

    InterviewViewModel& interview() { return app->interviewViewModel(); }
    WebSocketService& link() { return app->webSocketService(); }
    // The link is up, and the server has confirmed its session.
    bool hasSession();
    QString backendUrl() const;
    bool captures() const { return audio->microphoneRuns() && audio->systemRuns(); }
    void startInterview();
    // The same, without waiting for it.
    void submitInterview();
    void signIn();

    std::mt19937_64 random;
    LogCapture log;
    std::unique_ptr<AppDelegate> app;
    FakeAudioHost* audio = nullptr;
    MemorySecretStore* secrets = nullptr;
    platform::ConnectivityMonitor* connectivity = nullptr;
    QTemporaryDir folder;

    int links = 0; // opened one after the other
    quint64 received = 0;
    quint64 lost = 0;
    int pressed = 0; // how often the user had to reconnect

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
    int m_pauses = 0;          // since the fault, not yet expected
    QString m_wrongPause;
    std::chrono::steady_clock::time_point m_start;
    std::unique_ptr<SimulatedVoices> m_voices;
    QProcess m_holder; // of the store
};

} // namespace corvane
