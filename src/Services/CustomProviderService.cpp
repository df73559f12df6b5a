#include "Services/CustomProviderService.h"

#include "Models/ProviderModels.h"
#include "Platform/Core/Log.h"
#include "Platform/Storage/DefaultsStore.h"
#include "Services/CorvaneAPIService.h"
#include "Utilities/Json.h"
#include "Utilities/LineReader.h"

#include <boost/json/array.hpp>

#include <charconv>
#include <memory>

namespace corvane {

namespace {

constexpr auto streamTimeout = std::chrono::seconds(60);
constexpr qsizetype maxLineBytes = 8 * 1024 * 1024;
constexpr QByteArrayView dataPrefix = "data: ";
constexpr QByteArrayView endMark = "[DONE]";

struct Choice {
    CustomAIProvider provider;
    std::optional<platform::Secret> apiKey;
};

boost::json::value entry(const platform::DefaultsStore& defaults, const char* key) {
    const auto bytes = defaults.data(QLatin1String(key));
    if (!bytes) {
        throw json::DecodingError("absent");
    }
    return json::parse(*bytes);
}

Choice currentChoice(const platform::DefaultsStore& defaults) {
    try {
        const auto selected = SelectedProvider::fromJson(entry(defaults, "selected_ai_provider"));
        // Every record is read before one is chosen: a bad record makes the whole list unusable, as it does
        // for the settings.
        const auto list = entry(defaults, "custom_ai_providers");
        std::optional<CustomAIProvider> found;
        for (const auto& element : json::asArray(list)) {
            auto provider = CustomAIProvider::fromJson(element);
            if (!found && provider.id == selected.id) {
                found = std::move(provider);
            }
        }
        if (found) {
            return {std::move(*found), selected.apiKey};
        }
    } catch (const json::DecodingError&) {
        // To the user this is the same as having chosen no provider.
    }
    throw APIError(APIError::invalidConfiguration);
}

platform::HttpRequest makeRequest(const Choice& choice, const QString& systemPrompt, const QString& message) {
    const auto& provider = choice.provider;
    const QUrl url(provider.baseUrl + provider.chatEndpoint, QUrl::StrictMode);
    const bool isWeb = url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http");
    if (!url.isValid() || !isWeb || url.host().isEmpty()) {
        throw APIError(APIError::invalidConfiguration);
    }
    platform::HttpRequest request;
    request.method = "POST";
    request.url = url;
    request.timeout = streamTimeout;
    request.headers.append(platform::HttpHeader{"Content-Type", "application/json"});
    if (choice.apiKey) {
        request.headers.append({"Authorization", "Bearer " + choice.apiKey->reveal().toUtf8()});
    }
    boost::json::array messages;
    if (!systemPrompt.isEmpty()) {
        messages.push_back({{"role", "system"}, {"content", json::toJson(systemPrompt)}});
    }
    messages.push_back({{"role", "user"}, {"content", json::toJson(message)}});
    request.body = json::serialize(boost::json::object{{"model", json::toJson(provider.defaultModel)},
                                                       {"messages", std::move(messages)},
                                                       {"stream", provider.supportsStreaming}});
    return request;
}

// The state of reading a body.
struct Reading {
    QString path;
    QString text; // of the lines in the latest piece of the body
    bool anyText = false;
    bool isWanted = true; // the sink has not refused more

    // Returns false at the end mark.
    bool take(QByteArrayView line) {
        if (!line.startsWith(dataPrefix)) {
            return true;
        }
        const auto payload = line.sliced(dataPrefix.size());
        if (payload == endMark) {
            return false;
        }
        try {
            // Invalid UTF-8 is replaced by characters, so that the rest of the event is kept.
            const auto value = json::parse(QString::fromUtf8(payload).toUtf8());
            if (const auto* object = value.if_object()) {
                text += CustomProviderService::extractContent(*object, path).value_or(QString());
            }
        } catch (const json::DecodingError&) {
            // The provider has sent a comment or a keep-alive.
        }
        return true;
    }
};

// Returns the index into an array of `size` elements that a piece of a path names, or nullopt when it names
// none.
std::optional<std::size_t> indexIn(std::string_view piece, std::size_t size) {
    if (piece.starts_with('+') && piece.find('-') == std::string_view::npos) {
        piece.remove_prefix(1);
    }
    long long index = -1;
    const auto* const end = piece.data() + piece.size();
    const auto [stop, error] = std::from_chars(piece.data(), end, index);
    if (error != std::errc() || stop != end || index < 0 || static_cast<std::size_t>(index) >= size) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(index);
}

const boost::json::value* step(const boost::json::value& from, std::string_view piece) {
    if (const auto* array = from.if_array()) {
        const auto index = indexIn(piece, array->size());
        return index ? &array->at(*index) : nullptr;
    }
    const auto* object = from.if_object();
    return object ? object->if_contains(piece) : nullptr;
}

} // namespace

CustomProviderService::CustomProviderService(const platform::DefaultsStore& defaults,
                                             platform::HttpClient& http)
    : m_defaults(defaults)
    , m_http(http) {}

QCoro::Task<void> CustomProviderService::fetchAIResponseStream(QString message, QList<AttachedFile>,
                                                               TextSink sink) {
    const auto choice = currentChoice(m_defaults);
    const auto systemPrompt = m_defaults.string(QStringLiteral("system_prompt")).value_or(QString());
    auto request = makeRequest(choice, systemPrompt, message);
    const auto host = request.url.host();

    const auto reading = std::make_shared<Reading>();
    reading->path = choice.provider.responseContentPath;
    const auto lines = std::make_shared<LineReader>(
        maxLineBytes, [reading](QByteArrayView line) { return reading->take(line); });
    const auto handOver = [reading, sink = std::move(sink)] {
        const auto text = std::exchange(reading->text, {});
        reading->anyText = reading->anyText || !text.isEmpty();
        reading->isWanted = reading->isWanted && (text.isEmpty() || sink(text));
        return reading->isWanted;
    };
    const platform::HttpClient::BodySink bodySink = [lines, handOver](const QByteArray& piece) {
        lines->feed(piece);
        return handOver() && !lines->isClosed();
    };
    const auto answer = co_await m_http.stream(std::move(request), bodySink);
    lines->finish();
    handOver();
    if (lines->isOverlong()) {
        throw platform::HttpError(
            platform::HttpError::Kind::tooLarge,
            QStringLiteral("%1 sent an event of more than 8 MB. Check the address of your provider.")
                .arg(host));
    }
    if (!reading->anyText) {
        platform::logLine(QStringLiteral("[Provider] %1 answered with status %2 and no text")
                              .arg(host, QString::number(answer.status)));
    }
}

std::optional<QString> CustomProviderService::extractContent(const boost::json::object& from,
                                                             const QString& path) {
    const auto utf8 = path.toUtf8();
    const boost::json::value* current = nullptr;
    for (std::string_view rest(utf8.constData(), static_cast<std::size_t>(utf8.size())); !rest.empty();) {
        const auto piece = rest.substr(0, rest.find('.'));
        rest.remove_prefix(std::min(rest.size(), piece.size() + 1));
        if (piece.empty()) {
            continue;
        }
        current = current ? step(*current, piece) : from.if_contains(piece);
        if (!current) {
            return std::nullopt;
        }
    }
    const auto* text = current ? current->if_string() : nullptr;
    return text ? std::optional(json::toQString(*text)) : std::nullopt;
}

} // namespace corvane
