#include "fuzz/Fuzzing.h"

#include "Platform/Storage/DefaultsStore.h"
#include "Services/CustomProviderService.h"
#include "Utilities/LineReader.h"

using namespace corvane;

namespace {

struct Lines {
    QList<QByteArray> lines;
    bool isOverlong = false;

    bool operator==(const Lines&) const = default;
};

Lines linesOf(const QByteArray& body, const QByteArray& lengths) {
    Lines result;
    LineReader reader(64, [&](QByteArrayView line) {
        result.lines.append(line.toByteArray());
        return true;
    });
    inPieces(body, lengths, [&](const QByteArray& piece) { reader.feed(piece); });
    reader.finish();
    result.isOverlong = reader.isOverlong();
    return result;
}

void checkLines(const QByteArray& body, const QByteArray& lengths) {
    const auto whole = linesOf(body, QByteArray(1, char(47)));
    ALWAYS(linesOf(body, lengths) == whole);
    auto plain = body;
    plain.replace("\r\n", "\n").replace('\r', '\n');
    auto expected = plain.split('\n');
    if (expected.last().isEmpty()) {
        expected.removeLast();
    }
    if (whole.isOverlong) {
        expected.resize(whole.lines.size());
    }
    ALWAYS(whole.lines == expected);
}

// An HTTP response that arrives at once, in pieces.
class Answer : public platform::HttpClient {
public:
    Answer(QByteArray body, QByteArray lengths)
        : m_body(std::move(body))
        , m_lengths(std::move(lengths)) {}

    QCoro::Task<platform::HttpResponse> execute(platform::HttpRequest) override {
        co_return platform::HttpResponse{.status = 200, .url = {}, .headers = {}, .body = m_body};
    }
    QCoro::Task<platform::HttpResponse> stream(platform::HttpRequest, BodySink sink) override {
        bool wanted = true;
        inPieces(m_body, m_lengths, [&](const QByteArray& piece) { wanted = wanted && sink(piece); });
        co_return platform::HttpResponse{.status = 200, .url = {}, .headers = {}, .body = {}};
    }

private:
    QByteArray m_body;
    QByteArray m_lengths;
};

const platform::DefaultsStore& choice() {
    static const auto store = [] {
        auto defaults = platform::makeMemoryDefaultsStore();
        defaults->setData(QStringLiteral("selected_ai_provider"),
                          R"({"id":"p","name":"P","isConfigured":true})");
        defaults->setData(
            QStringLiteral("custom_ai_providers"),
            R"([{"id":"p","name":"P","baseUrl":"http://localhost","chatEndpoint":"/","authType":"bearer",
                 "defaultModel":"m","responseContentPath":"choices.0.delta.content","supportsStreaming":true,
                 "supportsImages":false,"isCustom":true,"curl":"","models":[]}])");
        return defaults;
    }();
    return *store;
}

QString answerTo(const QByteArray& body, const QByteArray& lengths) {
    Answer http(body, lengths);
    CustomProviderService service(choice(), http);
    QString text;
    const auto task = service.fetchAIResponseStream(QStringLiteral("q"), {}, [&](const QString& more) {
        text += more;
        return true;
    });
    ALWAYS(task.isReady());
    return text;
}

} // namespace

// The first line of the input determines how the rest is cut into pieces, which must not affect the result.
void fuzz(const QByteArray& input) {
    const TwoParts parts(input);
    checkLines(parts.rest, parts.first);
    ALWAYS(answerTo(parts.rest, parts.first) == answerTo(parts.rest, QByteArray(1, char(47))));
}
