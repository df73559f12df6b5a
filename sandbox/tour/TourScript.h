#pragma once

#include "App/CorvaneApp.h"
#include "sandbox/desktop/PrivateDesktop.h"
#include "sandbox/desktop/UserHands.h"
#include "sandbox/tour/TourDesktop.h"
#include "sandbox/tour/Transcript.h"

#include <QCoroTask>
#include <QJsonObject>
#include <QStringList>

#include <functional>
#include <memory>
#include <stdexcept>

namespace corvane {

// An expected event that did not happen.
class TourFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One user's way through the program, from the first sign-in to the second start, reported as it happens. It
// drives the program only as a user or the desktop would, and checks what a user would see.
class TourScript {
public:
    struct Options {
        QString program; // the executable
        // An action of the sandbox that is applied in the middle of the interview and never undone; empty for
        // none.
        QString fault;
        QString pictures; // a folder
        bool dark = false;
    };

    TourScript(TourDesktop& desktop, const PrivateDesktop& display, Transcript& transcript, Options options);
    ~TourScript();

    // Throws TourFailure, or an exception that the program should never have thrown.
    QCoro::Task<void> run();
    // Saves a screenshot under this name.
    void savePicture(const QString& name) const;

private:
    using Condition = std::function<bool()>;

    QCoro::Task<void> launch();
    QCoro::Task<void> signIn();
    QCoro::Task<void> visitPages();
    QCoro::Task<void> installUpdate();
    QCoro::Task<void> openLink(QString id);
    QCoro::Task<void> startInterview();
    QCoro::Task<void> converse();
    QCoro::Task<void> workManually();
    QCoro::Task<void> lookAtTheBar();
    QCoro::Task<void> loseTheLink();
    QCoro::Task<void> loseTheSession();
    QCoro::Task<void> loseTheSound();
    QCoro::Task<void> loseTheBackend();
    QCoro::Task<void> loseTheSecrets();
    QCoro::Task<void> pauseAndResume();
    QCoro::Task<void> finish();
    QCoro::Task<void> startAgain();
    void checkStore();
    void checkServer(const QJsonObject& state);
    void checkSecrecy();

    // Waits until the condition holds. Throws TourFailure with `what` after `seconds`.
    QCoro::Task<void> until(QString what, Condition condition, int seconds = 15);
    QCoro::Task<void> pause(int milliseconds);
    // Simulated user input.
    QCoro::Task<void> click(QString name, QString within = {});
    QCoro::Task<void> type(QString text);
    QCoro::Task<void> press(QString keys);
    QCoro::Task<void> drag(QPoint from, QPoint to);
    // Saves a screenshot under this name once the display has settled.
    QCoro::Task<void> picture(QString name);
    QCoro::Task<void> speakUntilHeard(QString question, QString answer);
    QCoro::Task<QJsonObject> control(QString path, QJsonObject parameters, bool isQuery);
    QCoro::Task<void> apply(QString action, QJsonObject parameters);
    QCoro::Task<QJsonObject> state();
    void require(bool holds, const QString& what) const;

    InterviewViewModel& interview();
    CompletionViewModel& completion();

    TourDesktop& m_desktop;
    const PrivateDesktop& m_display;
    const UserHands m_hands;
    Transcript& m_transcript;
    const Options m_options;
    std::unique_ptr<platform::Clock> m_clock;
    std::unique_ptr<platform::HttpClient> m_http;
    std::unique_ptr<CorvaneApp> m_app;
    QStringList m_log;
    QStringList m_secrets;
};

} // namespace corvane
