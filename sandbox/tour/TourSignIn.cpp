// Sign-in at the dashboard's card, and a look at the dashboard's pages.
#include "sandbox/tour/TourScript.h"

#include "sandbox/tour/TourRoles.h"

#include "Platform/Desktop/Appearance.h"
#include "Services/ClerkAuthService.h"
#include "Services/WebSocketService.h"
#include "ViewModels/SettingsViewModel.h"

namespace corvane {

using namespace tourroles;

QCoro::Task<void> TourScript::signIn() {
    m_transcript.chapter(QStringLiteral("Sign-in"));
    auto& auth = m_app->appDelegate().clerkAuthService();
    const auto described = m_desktop.sandbox().value(QStringLiteral("sign_in")).toObject();
    const auto email = described.value(QStringLiteral("email")).toString();
    const auto code = described.value(QStringLiteral("code")).toString();

    m_transcript.say(interviewer, QStringLiteral("types nobody@example.com"));
    co_await type(QStringLiteral("nobody@example.com"));
    co_await press(QStringLiteral("Return"));
    const Condition unknown = [this] { return m_hands.sees(QStringLiteral("Open Corvane Platform")); };
    co_await until(QStringLiteral("an unknown address is refused"), unknown);
    co_await picture(QStringLiteral("no-account"));
    m_transcript.say(program, QStringLiteral("shows where accounts are made"));

    m_transcript.say(interviewer, QStringLiteral("types %1").arg(email));
    co_await click(QStringLiteral("Try a different email"));
    co_await press(QStringLiteral("ctrl+a"));
    co_await type(email);
    co_await click(QStringLiteral("Continue"));
    co_await until(QStringLiteral("the card asks for the code"),
                   [this] { return m_hands.sees(QStringLiteral("6-digit code")); });
    require(auth.pendingEmail() == email, QStringLiteral("the code is on its way"));
    m_transcript.say(interviewer, QStringLiteral("types a wrong code"));
    co_await type(QStringLiteral("111111"));
    co_await press(QStringLiteral("Return"));
    co_await pause(700);
    require(!auth.isSignedIn(), QStringLiteral("a wrong code is refused"));
    co_await picture(QStringLiteral("wrong-code"));
    m_transcript.say(interviewer, QStringLiteral("types the code of the e-mail"));
    co_await press(QStringLiteral("ctrl+a"));
    co_await type(code);
    co_await press(QStringLiteral("Return"));
    co_await until(QStringLiteral("the right code signs in"), [&auth] { return auth.isSignedIn(); });
    m_transcript.say(program, QStringLiteral("signed in as %1").arg(auth.state()->email));
    m_secrets.append(code);
    const auto token = co_await auth.getFreshJWT();
    m_secrets.append(token.reveal());

    auto& link = m_app->appDelegate().webSocketService();
    co_await until(QStringLiteral("the link is open"), [&link] { return link.isConnected(); });
    co_await until(QStringLiteral("the bar shows"),
                   [this] { return m_hands.sees(QStringLiteral("Interview ID")); });
    m_transcript.say(program, QStringLiteral("connected to the backend, the bar is there"));
    co_await picture(QStringLiteral("connection-page"));
}

QCoro::Task<void> TourScript::visitPages() {
    m_transcript.chapter(QStringLiteral("The dashboard's pages"));
    co_await click(QStringLiteral("Settings"), QStringLiteral("Pages"));
    const auto& settings = m_app->appDelegate().settingsViewModel();
    const auto theme = m_options.dark ? QStringLiteral("Dark") : QStringLiteral("Light");
    co_await click(theme);
    require(rawValue(settings.theme()) == theme.toLower(), QStringLiteral("the theme is taken"));
    m_transcript.say(interviewer, QStringLiteral("takes the %1 theme").arg(theme.toLower()));
    for (const auto* page : {"Account", "Audio", "Shortcuts", "Settings", "Dashboard"}) {
        co_await click(QLatin1String(page), QStringLiteral("Pages"));
        co_await picture(QString(QLatin1String(page)).toLower() + QStringLiteral("-page"));
    }
    // Closed, as in a real interview.
    m_app->appDelegate().toggleDashboard();
    require(!m_hands.sees(QStringLiteral("Quit Corvane Lumetra")), QStringLiteral("the dashboard is closed"));
}

} // namespace corvane
