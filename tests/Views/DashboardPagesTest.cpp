#include "Platform/Desktop/Appearance.h"
#include "Platform/Desktop/SystemAccess.h"
#include "Platform/Storage/DefaultsStore.h"
#include "Services/AudioCaptureService.h"
#include "Services/DatabaseService.h"
#include "ViewModels/SettingsViewModel.h"
#include "Views/Auth/SignInPresenter.h"
#include "Views/Dashboard/AppSettingsPresenter.h"
#include "Views/Dashboard/AudioSettingsPresenter.h"
#include "Views/Dashboard/CorvaneSetupPresenter.h"
#include "tests/Services/Link/LinkFixture.h"
#include "tests/Support/FakeAudioHost.h"
#include "tests/Support/FakeDesktop.h"
#include "tests/Support/Rows.h"

#include <QFile>
#include <QTemporaryDir>

using namespace corvane;

namespace {

struct Fixture : LinkFixture {
    QTemporaryDir folder;
    DatabaseService database{folder.path(), clock};
    std::unique_ptr<platform::DefaultsStore> defaults = platform::makeMemoryDefaultsStore();
    std::unique_ptr<platform::SystemAccess> access = platform::makeSystemAccess();
    FakeWindows windows;
    FakeLoginItem loginItem;
    platform::Appearance appearance;

    std::unique_ptr<SettingsViewModel> settings(platform::DefaultsStore& entries) {
        return std::make_unique<SettingsViewModel>(
            database, keychain, SettingsViewModel::Dependencies{entries, appearance, loginItem, windows});
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
    void theCodeFieldKeepsDigits_data() {
        const auto row = rows<QString, QString>();
        row("as it is sent", "123456", "123456");
        row("in groups", " 123-456\n", "123456");
        row("with letters", "12a4B6", "1246");
        row("too many", "1234567", "123456");
        row("from a keyboard of another script", u"\u0661\u0662\u0663\u06f4\u096b\uff16"_qs, "123456");
        row("none", "one", "");
    }
    void theCodeFieldKeepsDigits() {
        const auto [typed, kept] = currentRow<QString, QString>();
        Fixture fixture;
        SignInPresenter card(*fixture.auth, *fixture.access, {});
        QSignalSpy changes(&card, &SignInPresenter::changed);
        card.setCode(typed);
        QCOMPARE(card.code(), kept);
        QCOMPARE(changes.size(), 1); // the field shows it
    }

    void theCardKeepsWhatWasSent() {
        Fixture fixture;
        ::waitFor(fixture.auth->signOut());
        SignInPresenter card(*fixture.auth, *fixture.access, {});
        card.setEmail("first@a.example");
        fixture.http.setHeld(true);
        fixture.http.answer(
            200,
            R"({"response":{"id":"s","status":"needs_first_factor","supported_first_factors":[{"strategy":"email_code"}]}})");
        card.submit();
        card.setEmail("second@a.example");
        fixture.http.setHeld(false);
        fixture.settle();
        QCOMPARE(card.phase(), "code");
        QCOMPARE(card.email(), "first@a.example");
        card.setCode("123456");
        fixture.http.setHeld(true);
        card.submit();
        card.setCode("654321");
        QCOMPARE(card.code(), "123456");
        card.resetToEmail();
        card.setEmail("second@a.example");
        QCOMPARE(card.sentTo(), "Sent to first@a.example");
    }

    void theCodeFieldKeepsItsCursor() {
        Fixture fixture;
        const SignInPresenter card(*fixture.auth, *fixture.access, {});
        QCOMPARE(card.codeCursor("12a3456", 3), 2);
        QCOMPARE(card.codeCursor("1293456", 3), 3);
        QCOMPARE(card.codeCursor("1234567", 7), 6);
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
        QCOMPARE(fixture.windows.calls, (QStringList{"policy 1", "level 3", "not protected"}));
        QVERIFY(fixture.loginItem.registered && page.launchesAtLogin());
        page.setTransparency(20);
        page.pickTheme(1);
        QCOMPARE(fixture.appearance.effective(), platform::ColorScheme::dark);
        page.pickTheme(2);
        QCOMPARE(fixture.appearance.effective(), platform::ColorScheme::light);
        QCOMPARE(summary(*fixture.settings(*fixture.defaults)), "system 01101 default 20 -1 0 none");

        fixture.loginItem.error = "no folder";
        page.toggleLaunchAtLogin();
        QVERIFY(fixture.log.standardOutputLines().contains("[Settings] Autostart error: no folder"));
        QVERIFY(!page.launchesAtLogin());
        QVERIFY(fixture.stored("customizable").contains(R"("autostart":{"isEnabled":false})"));
        QVERIFY(page.launchNote().contains("no folder"));
        fixture.loginItem.error.clear();
        page.toggleLaunchAtLogin();
        QVERIFY(page.launchNote().isEmpty());
    }

    void devicesAreThoseOfTheAppearance() {
        Fixture fixture;
        FakeAudioHost audio;
        AudioCaptureService capture(audio, fixture.clock);
        const auto settings = fixture.settings(*fixture.defaults);
        AudioSettingsPresenter page(*settings, capture, *fixture.access);
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

    void savingAnAddressReplacesTheConnection_data() {
        const auto row = rows<QString, QString>();
        row("slashes", "//https://uat.test/tree//", "https://uat.test/tree");
        row("blanks", " \n", "https://default.test");
        row("no scheme", "uat.test", "uat.test");
    }
    void savingAnAddressReplacesTheConnection() {
        const auto [typed, url] = currentRow<QString, QString>();
        Fixture fixture;
        CorvaneSetupPresenter page(*fixture.service, *fixture.api, fixture.database, "https://default.test/");
        fixture.open();
        page.loadSettings();
        page.setApiUrl(u'\t' + page.apiUrl() + u'\n');
        QVERIFY(!page.urlDirty());
        page.setApiUrl(typed);
        QVERIFY(page.urlDirty());
        fixture.auth->invalidateCachedJWT();
        fixture.http.setHeld(true);
        page.saveUrl();
        QVERIFY(page.isSavingUrl() && !page.urlDirty());
        QCOMPARE(fixture.database.getSetting("corvane_api_url"), url);
        QCOMPARE(fixture.api->baseURL(), url);
        fixture.http.setHeld(false);
        fixture.settle();
        QVERIFY(!page.isSavingUrl());
        QCOMPARE(fixture.sockets.peer(0).cancelCode(), 1001);
        QCOMPARE(fixture.sockets.last().url.host(), QUrl(url).host());
        QCOMPARE(page.urlFault().isEmpty(), url.startsWith("https://"));
    }
};

QTEST_GUILESS_MAIN(DashboardPagesTest)
#include "DashboardPagesTest.moc"
