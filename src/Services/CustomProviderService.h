#pragma once

#include "Models/ChatModels.h"
#include "Platform/Network/HttpClient.h"

#include <boost/json/object.hpp>

#include <QCoroTask>
#include <QString>

#include <functional>
#include <optional>

namespace platform {
class DefaultsStore;
}

namespace corvane {

// Sends a question to the user's own chat-completion endpoint, which the defaults store describes, and
// streams the answer from its server-sent events. Main thread; the network has threads of its own.
class CustomProviderService {
public:
    // Receives new text, never empty: that of all events that arrived together. Returns false to end the
    // stream.
    using TextSink = std::function<bool(const QString& text)>;

    CustomProviderService(const platform::DefaultsStore& defaults, platform::HttpClient& http);

    // Completes at the end of the stream. Reads the provider from the store each time. The files are not
    // sent: a message to a provider is text only. Throws APIError::invalidConfiguration when there is no
    // usable provider, and platform::HttpError, also for an event of more than 8 MB.
    QCoro::Task<void> fetchAIResponseStream(QString message, QList<AttachedFile> attachedFiles,
                                            TextSink sink);

    // Returns the string at a dotted path, or nullopt when there is none. Within an array, a whole number
    // selects an element; within an object, every piece of the path, a number too, names a member.
    static std::optional<QString> extractContent(const boost::json::object& from, const QString& path);

private:
    const platform::DefaultsStore& m_defaults;
    platform::HttpClient& m_http;
};

} // namespace corvane
