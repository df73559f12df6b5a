#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

#include <boost/json/value.hpp>

namespace corvane {

// A stored chat with the assistant. Times are milliseconds since the Unix epoch.
struct Conversation {
    QString id; // "conv_" and 32 lower-case hexadecimal digits
    QString title;
    qint64 createdAt = 0;
    qint64 updatedAt = 0;

    static QString newID();
    // Throws json::DecodingError when a key is missing or its value has another type.
    static Conversation fromJson(const boost::json::value& json);
    boost::json::object toJson() const;
    bool operator==(const Conversation&) const = default;
};

enum class MessageRole { user, assistant, system };
QString rawValue(MessageRole role);
std::optional<MessageRole> messageRole(const QString& rawValue);

// A file that is attached to a chat message.
struct AttachedFile {
    QString id;
    QString name;
    QString type; // media type; one that begins with "image" is a picture
    QString base64;
    qint64 size = 0; // bytes

    static AttachedFile fromJson(const boost::json::value& json);
    boost::json::object toJson() const;
    bool operator==(const AttachedFile&) const = default;
};

struct ChatMessage {
    QString id; // "msg_" and 32 lower-case hexadecimal digits
    QString conversationId;
    MessageRole role = MessageRole::user;
    QString content;
    qint64 timestamp = 0;
    std::optional<QString> attachedFiles; // a JSON array of AttachedFile

    static QString newID();
    // Returns an empty list when there are no attachments or the text is not a valid array.
    QList<AttachedFile> decodedAttachments() const;
    static ChatMessage fromJson(const boost::json::value& json);
    boost::json::object toJson() const;
    bool operator==(const ChatMessage&) const = default;
};

// A row of the table system_prompts. The times are SQLite's datetime('now') text, never parsed.
struct SystemPrompt {
    qint64 id = 0;
    QString name;
    QString prompt;
    QString createdAt;
    QString updatedAt;

    static SystemPrompt fromJson(const boost::json::value& json);
    boost::json::object toJson() const;
    bool operator==(const SystemPrompt&) const = default;
};

} // namespace corvane
