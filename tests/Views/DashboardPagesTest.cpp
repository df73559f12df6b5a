#include "Services/ClerkAuthService.h"
#include "Services/CorvaneAPIService.h"
#include "Services/DatabaseService.h"
#include "ViewModels/SettingsViewModel.h"
#include "Views/Auth/SignInPresenter.h"
#include "Views/Dashboard/AppSettingsPresenter.h"
#include "Views/Dashboard/AudioSettingsPresenter.h"
#include "Views/Dashboard/CorvaneSetupPresenter.h"
#include "tests/Services/Identity/IdentityFixture.h"
#include "tests/Support/Rows.h"
#include "tests/Support/TestProgram.h"

#include <QFile>
#include <QSignalSpy>

using namespace corvane;

namespace {

struct Fixture : TestProgram {
    platform::Appearance appearance;

    explicit Fixture(Start start = Start::signedIn)
        : TestProgram(start) {
        launch();
    }
    std::unique_ptr<SettingsViewModel> settings(platform::DefaultsStore& entries) {
        return std::make_unique<SettingsViewModel>(
            app->databaseService(), app->keychainService(),
            SettingsViewModel::Dependencies{entries, appearance, *loginItem, *app});
    }
    QByteArray stored(const char* key) { return defaults->data(key).value_or("nothing"); }
};

// What was read, in one line.
QString summary(const SettingsViewModel& settings) {
    const auto& state = settings.customizable();
    QString switches;
    for (const bool on : {state.appIcon.isVisible, state.alwaysOnTop.isEnabled, state.autostart.isEnabled,
                          state.contentProtected.isEnabled, settings.corvaneApiEnabled()}) {
        switches += on ? u'1' : u'0';
    }
    const auto numbers = {settings.transparency(), double(settings.selectedSystemPromptId().value_or(-1)),
                          double(settings.customAiProviders().size())};
    auto line = rawValue(settings.theme()) + u' ' + switches + u' ' + rawValue(state.cursor.type);
    for (const auto number : numbers) {
        line += u' ' + QString::number(number);
    }
    return line + u' ' + settings.selectedAudioDevices().input.value_or("none");
}

const QByteArray provider = R"({"id":"p","name":"P","baseUrl":"b","chatEndpoint":"/c","authType":"a",)"
                            R"("defaultModel":"m","responseContentPath":"r","supportsStreaming":true,)"
                            R"("supportsImages":false,"isCustom":true,"curl":"","models":[]})";

} // namespace

class DashboardPagesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theCodeFieldKeepsDigits() {
        for (const auto& [typed, kept] : {std::pair<QString, QString>("123456", "123456"),
                                          {" 123-456\n", "123456"},
                                          {"12a4B6", "1246"},
                                          {"1234567", "123456"},
                                          {u"\u0661\u0662\u0663\u06f4\u096b\uff16"_qs, "123456"},
                                          {"one", ""}}) {
            Fixture fixture;
            SignInPresenter card(fixture.app->clerkAuthService(), *fixture.access, {});
            QSignalSpy changes(&card, &SignInPresenter::changed);
            card.setCode(typed);
            QCOMPARE(card.code(), kept);
            QCOMPARE(changes.size(), 1); // the field shows it
        }
    }

    void theCardKeepsWhatWasSent() {
        Fixture fixture(TestProgram::Start::signedOut);
        SignInPresenter card(fixture.app->clerkAuthService(), *fixture.access, {});
        card.setEmail("first@a.example");
        fixture.identityHttp->setHeld(true);
        fixture.identityHttp->answer(200, emailCodeOffer);
        card.submit();
        card.setEmail("second@a.example");
        fixture.identityHttp->setHeld(false);
        fixture.settle();
        QCOMPARE(card.phase(), "code");
        QCOMPARE(card.email(), "first@a.example");
        card.setCode("123456");
        fixture.identityHttp->setHeld(true);
        card.submit();
        card.setCode("654321");
        QCOMPARE(card.code(), "123456");
        card.resetToEmail();
        card.setEmail("second@a.example");
        QCOMPARE(card.sentTo(), "Sent to first@a.example");
    }

    void settingsWrittenByHandAreRead_data() {
        const auto row = rows<QByteArray, QString>();
        const QString untouched = "system 10011 default 100 -1 0 none";
        const QByteArray state = R"(customizable = { "appIcon": {"isVisible": false}, "alwaysOnTop": )"
                                 R"({"isEnabled": true}, "autostart": {"isEnabled": true}, )"
                                 R"("contentProtected": {"isEnabled": false})";
        row("all",
            state +
                ", \"cursor\": {\"type\": \"auto\"} }\ntheme=dark\ntransparency=20\n"
                "selected_system_prompt_id=1\nselected_audio_devices={\"input\": \"7\"}\n"
                "custom_ai_providers=[" +
                provider + ", " + provider + "]",
            "dark 01101 auto 20 1 2 7");
        row("no cursor", state + "}", untouched);
        row("unknown cursor", state + R"(, "cursor": {"type": "x"}})", untouched);
        row("no transparency", "transparency=0", untouched);
        row("prompt below one", "selected_system_prompt_id=0", untouched);
        row("backend off", "corvane_api_enabled=Off", "system 10010 default 100 -1 0 none");
        row("backend unclear", "corvane_api_enabled=perhaps", "system 10010 default 100 -1 0 none");
        row("one bad provider", "custom_ai_providers=[" + provider + ",{\"id\":\"q\"}]", untouched);
    }
    void settingsWrittenByHandAreRead() {
        const auto [text, expected] = currentRow<QByteArray, QString>();
        Fixture fixture;
        QFile file(fixture.folder.filePath("settings.ini"));
        QVERIFY(file.open(QFile::WriteOnly) && file.write(text) > 0);
        file.close();
        QCOMPARE(summary(*fixture.settings(*platform::makeFileDefaultsStore(file.fileName()))), expected);
    }

    void thePageNamesWhoAnswers_data() {
        const auto row = rows<bool, QByteArray, QString>();
        row("the backend", true, R"("p")", "Corvane");
        row("a provider", false, R"("p")", "P");
        row("none that is described", false, R"("q")", "None!");
        row("none that is selected", false, "", "None!");
    }
    void thePageNamesWhoAnswers() {
        const auto [enabled, selected, source] = currentRow<bool, QByteArray, QString>();
        Fixture fixture;
        fixture.defaults->setBool("corvane_api_enabled", enabled);
        fixture.defaults->setData("custom_ai_providers", "[" + provider + "]");
        if (!selected.isEmpty()) {
            fixture.defaults->setData("selected_ai_provider",
                                      R"({"name":"S","isConfigured":true,"id":)" + selected + "}");
        }
        const auto settings = fixture.settings(*fixture.defaults);
        const AppSettingsPresenter page(*settings, *fixture.access);
        QCOMPARE(page.answerSource() + (page.answerSourceNote().isEmpty() ? "" : "!"), source);
    }

    void changedSettingsAreStoredAndActedOn() {
        Fixture fixture;
        const auto settings = fixture.settings(*fixture.defaults);
        AppSettingsPresenter page(*settings, *fixture.access);
        page.toggleDockIcon();
        page.toggleAlwaysOnTop();
        page.toggleContentProtection();
        page.toggleLaunchAtLogin();
        QVERIFY(!page.showsDockIcon() && !page.contentProtection() && page.alwaysOnTop());
        QCOMPARE(fixture.windows->panel->policy, ActivationPolicy::accessory);
        QVERIFY(fixture.loginItem->registered && page.launchesAtLogin());
        page.setTransparency(20);
        page.pickTheme(1);
        QCOMPARE(fixture.appearance.effective(), platform::ColorScheme::dark);
        page.pickTheme(2);
        QCOMPARE(fixture.appearance.effective(), platform::ColorScheme::light);
        QCOMPARE(summary(*fixture.settings(*fixture.defaults)), "system 01101 default 20 -1 0 none");

        fixture.loginItem->error = "no folder";
        page.toggleLaunchAtLogin();
        QVERIFY(fixture.log.standardOutputLines().contains("[Settings] Autostart error: no folder"));
        QVERIFY(!page.launchesAtLogin());
        QVERIFY(fixture.stored("customizable").contains(R"("autostart":{"isEnabled":false})"));
        QVERIFY(page.launchNote().contains("no folder"));
        fixture.loginItem->error.clear();
        page.toggleLaunchAtLogin();
        QVERIFY(page.launchNote().isEmpty());
    }

    void devicesAreThoseOfTheAppearance() {
        Fixture fixture;
        auto& audio = *fixture.audio;
        const auto settings = fixture.settings(*fixture.defaults);
        AudioSettingsPresenter page(*settings, fixture.app->audioCaptureService(), *fixture.access);
        audio.inputList = {{"4", "Headset"}, {"7", "Desk"}};
        page.appear();
        fixture.settle();
        QCOMPARE(page.inputs(), (QStringList{"Default", "Headset", "Desk"}));
        page.pickInput(2);
        QCOMPARE(fixture.stored("selected_audio_devices"), R"({"input":"7"})");
        QCOMPARE(page.input(), 2);

        audio.microphoneMeter().hear("Desk");
        QCOMPARE(page.heardInput(), "Desk");
        // A Bluetooth headset has no microphone and better sound while nobody listens.
        page.disappear();
        QVERIFY(page.heardInput().isEmpty() && !audio.microphoneMeter().runs());

        audio.listError = audio.surveyError = platform::AudioError(platform::AudioError::Kind::noServer, {});
        page.appear();
        fixture.settle();
        QCOMPARE(page.input(), -1);
        QVERIFY(!page.devicesNotice().isEmpty());
        page.pickInput(0);
        QCOMPARE(fixture.stored("selected_audio_devices"), "{}");
    }

    void savingAnAddressReplacesTheConnection() {
        for (const auto& [typed, url] :
             {std::pair<QString, QString>("//https://uat.test/tree//", "https://uat.test/tree"),
              {" \n", "https://default.test"},
              {"uat.test", "uat.test"}}) {
            Fixture fixture;
            auto& api = fixture.app->apiService();
            auto& database = fixture.app->databaseService();
            CorvaneSetupPresenter page(fixture.app->webSocketService(), api, database,
                                       "https://default.test/");
            page.loadSettings();
            page.setApiUrl(u'\t' + page.apiUrl() + u'\n');
            QVERIFY(!page.urlDirty());
            page.setApiUrl(typed);
            QVERIFY(page.urlDirty());
            fixture.openLink();
            fixture.app->clerkAuthService().invalidateCachedJWT();
            fixture.identityHttp->setHeld(true);
            page.saveUrl();
            QVERIFY(page.isSavingUrl() && !page.urlDirty());
            QCOMPARE(database.getSetting("corvane_api_url"), url);
            QCOMPARE(api.baseURL(), url);
            fixture.identityHttp->setHeld(false);
            fixture.settle();
            QVERIFY(!page.isSavingUrl());
            QCOMPARE(fixture.sockets->peer(0).cancelCode(), 1001);
            QCOMPARE(fixture.peer().url.host(), QUrl(url).host());
            QCOMPARE(page.urlFault().isEmpty(), url.startsWith("https://"));
        }
    }
};

QTEST_GUILESS_MAIN(DashboardPagesTest)
#include "DashboardPagesTest.moc"
