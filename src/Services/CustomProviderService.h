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

// A chat-completion endpoint of the user's own, as the defaults store describes it: one question, answered by
// a stream of server-sent events. Main thread; the network has threads of its own.
class CustomProviderService {
public:
    // Gets new text, not empty: that of all events which arrived together. False: no more is wanted.
    using TextSink = std::function<bool(const QString& text)>;

    CustomProviderService(const platform::DefaultsStore& defaults, platform::HttpClient& http);

    // Done at the end of the stream. Reads the store anew each time. The files stay here: a message to a
    // provider is text only. Throws APIError::invalidConfiguration without a usable provider, or
    // platform::HttpError, also for an event of more than 8 MB.
    QCoro::Task<void> fetchAIResponseStream(QString message, QList<AttachedFile> attachedFiles,
                                            TextSink sink);

    // The string at a dotted path: a whole number picks an element of an array, anything else, and a number
    // too, a member of an object.
    static std::optional<QString> extractContent(const boost::json::object& from, const QString& path);

private:
    const platform::DefaultsStore& m_defaults;
    platform::HttpClient& m_http;
};

} // namespace corvane
