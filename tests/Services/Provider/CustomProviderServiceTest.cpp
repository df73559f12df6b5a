#include "Services/CustomProviderService.h"
#include "Services/CorvaneAPIService.h"
#include "tests/Platform/Network/TestCertificates.h"
#include "tests/Services/Provider/ChatServer.h"
#include "tests/Services/Provider/ProviderEntries.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/WaitFor.h"

#include "sandbox/Sandbox.h"

#include <QFile>
#include <QTimer>

using namespace corvane;

namespace {

QByteArray dataLine(const QByteArray& text) {
    return "data: {\"choices\":[{\"delta\":{\"content\":\"" + text + "\"}}]}";
}

} // namespace

class CustomProviderServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_server.emplace(m_certificates.server());
        m_server->closeAfterReply = true;
        m_text.clear();
    }

    void theRequestIsWhatTheProviderWants_data() {
        const auto row = rows<QString, QString, QByteArray, QByteArray>();
        const QByteArray user = "{\"role\":\"user\",\"content\":\"Hi \\\"you\\\"\"}";
        const QByteArray system = R"({"role":"system","content":"Be short"},)";
        row("a key and a prompt", "k-1", "Be short", "Bearer k-1", system + user);
        row("an empty key", "", "", "Bearer", user);
        row("no key", {}, "", "none", user);
    }
    void theRequestIsWhatTheProviderWants() {
        const auto [key, prompt, authorization, messages] =
            currentRow<QString, QString, QByteArray, QByteArray>();
        const auto defaults = providerEntries(m_server->url("https", "/v1/").toString(), "/chat?a=%20b", key);
        defaults->setString("system_prompt", prompt);
        QCOMPARE(ask(*defaults), QString());
        const auto request = m_server->requests.value(0);
        QVERIFY2(request.startsWith("POST /v1//chat?a=%20b HTTP/1.1\r\n"), request);
        QCOMPARE(headerOf(request, "content-type"), "application/json");
        QCOMPARE(headerOf(request, "authorization").value_or("none"), authorization);
        QCOMPARE(request.mid(request.indexOf("\r\n\r\n") + 4),
                 R"({"model":"m-1","messages":[)" + messages + R"(],"stream":true})");
    }

    void whatTheBodySays_data() {
        const auto row = rows<QByteArray, QString, QString>();
        const QByteArray ok = "200 OK\r\n\r\n";
        const auto a = dataLine("a");
        row("only data lines with a blank count", ok + ": x\ndata:" + a.mid(6) + "\n " + a + "\nid: 1\n" + a,
            "a", "");
        row("nothing after the end", ok + a + "\ndata: [DONE]\n" + dataLine("b") + "\n", "a", "");
        row("not quite an end", ok + "data: [DONE] \ndata: [ DONE]\n" + a + "\n", "a", "");
        row("not an object, or without a text",
            ok + "data: [1]\ndata: {\ndata: {\"choices\":[]}\n" + dataLine("") + "\n" + a, "a", "");
        row("a broken character", ok + dataLine("x\xc3") + "\n" + a + "\n", QString::fromUtf8("x\uFFFDa"),
            "");
        row("too deep, too odd", ok + "data: " + QByteArray(100000, '[') + "\n" + a, "a", "");
        row("a status of failure", "429 Too Many\r\n\r\n" + a + "\n", "a", "");
        row("a plain answer", "200 OK\r\nContent-Length: 2\r\n\r\n{}", "", "");
        row("a redirect is not followed", "307 Moved\r\nLocation: https://127.0.0.1:1/\r\n\r\n", "", "");
        row("cut off", "200 OK\r\nContent-Length: 1000\r\n\r\n" + a + "\n", "a",
            "The connection to localhost was lost. Try again.");
        row("one line of many megabytes", ok + a + "\ndata: " + QByteArray(9 * 1024 * 1024, 'x') + "\n" + a,
            "a", "localhost sent an event of more than 8 MB. Check the address of your provider.");
    }
    void whatTheBodySays() {
        const auto [reply, text, failure] = currentRow<QByteArray, QString, QString>();
        const LogCapture log;
        m_server->reply = "HTTP/1.1 " + reply;
        QCOMPARE(ask(*providerEntries(m_server->url("https", "").toString(), "/c", "key-1")), failure);
        QCOMPARE(m_text, text);
        QCOMPARE(m_server->requests.size(), 1);
        QCOMPARE(log.count("key-1"), 0);
        QCOMPARE(log.count("no text"), text.isEmpty() ? 1 : 0);
    }

    void textIsThereBeforeTheEndThatNeverComes() {
        m_server->onRequest = [](QSslSocket* socket, const QByteArray&) {
            socket->write("HTTP/1.1 200 OK\r\n\r\n" + dataLine("a") + "\n");
            auto* timer = new QTimer(socket);
            QObject::connect(timer, &QTimer::timeout, socket,
                             [socket] { socket->write(dataLine("b") + "\n"); });
            timer->start(1);
        };
        m_patience = 3; // pieces
        QCOMPARE(ask(*providerEntries(m_server->url("https", "").toString(), "/c")), QString());
        QVERIFY(m_text.startsWith("ab"));
        m_patience = -1;
    }

    void withoutAUsableProviderNothingIsSent() {
        for (const auto& [baseUrl, selected] :
             {std::pair<QString, QByteArray>("", {}),
              {"ftp://localhost", {}},
              {"https://localhost", ""},
              {"https://localhost", R"({"id":"q","name":"","isConfigured":true})"}}) {
            const auto defaults = providerEntries(baseUrl, "/c", "key-1");
            if (!selected.isNull()) {
                defaults->setData("selected_ai_provider", selected);
            }
            QCOMPARE(ask(*defaults), "Invalid API configuration");
        }
    }

    void aServerOfAnotherMake() {
        const auto issued =
            sandbox::CertificateAuthority(m_certificates.authorityFile().chopped(7).toStdString())
                .issue({"localhost"});
        const QTemporaryDir folder;
        sandbox::writePrivateFile(folder.filePath("cert").toStdString(), issued.certificate);
        sandbox::writePrivateFile(folder.filePath("key").toStdString(), issued.key);
        const ChatServer server({folder.filePath("cert"), folder.filePath("key")});
        const auto words = QString::fromUtf8("Grüße|, \U0001F468\u200D\U0001F469|\u2028|\"\\|.").repeated(3);
        for (const int pieces : {1, 7, 100000}) { // bytes of each write
            m_text.clear();
            const auto endpoint = QStringLiteral("/chat?pieces=%1").arg(pieces);
            QCOMPARE(ask(*providerEntries(server.baseUrl(), endpoint), words), QString());
            QCOMPARE(m_text, QString(words).remove(u'|'));
        }
    }

    void theStandInAnswers() {
        sandbox::Sandbox stand;
        stand.apply("pace", {{"milliseconds", 1}});
        const auto& addresses = stand.addresses();
        const EnvironmentOverride roots("SSL_CERT_FILE", addresses.certificateFile.c_str());
        const auto url = QString::fromStdString(addresses.backendTls);
        QCOMPARE(ask(*providerEntries(url, "/v1/chat/completions", "key"), "Why?"), QString());
        QCOMPARE(m_text, QStringLiteral("To “Why?”: ask for one example, and how it turned out."));
        QVERIFY(stand.violations().empty());
    }

    void theTextIsWhereThePathSays_data() {
        const auto row = rows<QByteArray, QString, QString>();
        row("through arrays and objects", R"({"a":[{"b":"x"},{"b":"y"}]})", "a.1.b", "y");
        row("signs", R"({"a":["x","y"]})", "a.+1", "y");
        row("minus nothing is nothing", R"({"a":["x"]})", "a.-0", "x");
        row("negative", R"({"a":["x"]})", "a.-1", "none");
        row("beyond the end", R"({"a":["x"]})", "a.1", "none");
        row("an empty array", R"({"a":[]})", "a.0", "none");
        row("no number", R"({"a":["x"]})", "a.0x", "none");
        row("beyond all numbers", R"({"a":["x"]})", "a.99999999999999999999", "none");
        row("a number as a key", R"({"0":{"1":"x"}})", "0.1", "x");
        row("empty pieces", R"({"a":{"b":"x"}})", "..a..b.", "x");
        row("an empty path", R"({"":"x"})", "", "none");
        row("no string", R"({"a":5})", "a", "none");
        row("beyond ASCII", R"({"ä":"x"})", "ä", "x");
    }
    void theTextIsWhereThePathSays() {
        const auto [object, path, text] = currentRow<QByteArray, QString, QString>();
        const auto value = json::parse(object);
        QCOMPARE(CustomProviderService::extractContent(value.as_object(), path).value_or("none"), text);
    }

private:
    // The text goes to m_text; gives what failed.
    QString ask(const platform::DefaultsStore& defaults,
                const QString& message = QStringLiteral("Hi \"you\"")) {
        CustomProviderService service(defaults, *m_http);
        try {
            ::waitFor(service.fetchAIResponseStream(message, {},
                                                    [this](const QString& text) {
                                                        m_text += text;
                                                        return --m_patience != 0;
                                                    }),
                      20000);
        } catch (const std::exception& error) {
            return QString::fromUtf8(error.what());
        }
        return {};
    }

    TestCertificates m_certificates;
    std::unique_ptr<platform::HttpClient> m_http =
        platform::makeHttpClient(platform::HttpSessionKind::shared);
    std::optional<RawServer> m_server;
    QString m_text;
    int m_patience = -1;
};

QTEST_GUILESS_MAIN(CustomProviderServiceTest)
#include "CustomProviderServiceTest.moc"
