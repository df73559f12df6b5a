#include "Models/ChatModels.h"

#include "Utilities/Json.h"

#include <QUuid>

#include <array>

namespace corvane {

namespace {

constexpr std::array<std::pair<MessageRole, QLatin1StringView>, 3> roleNames{{
    {MessageRole::user, QLatin1StringView("user")},
    {MessageRole::assistant, QLatin1StringView("assistant")},
    {MessageRole::system, QLatin1StringView("system")},
}};

QString newIDWithPrefix(QLatin1StringView prefix) {
    return prefix + QUuid::createUuid().toString(QUuid::Id128);
}

} // namespace

QString rawValue(MessageRole role) {
    return std::ranges::find(roleNames, role, &decltype(roleNames)::value_type::first)->second;
}

std::optional<MessageRole> messageRole(const QString& rawValue) {
    const auto* found = std::ranges::find(roleNames, rawValue, &decltype(roleNames)::value_type::second);
    return found == roleNames.end() ? std::nullopt : std::optional(found->first);
}

QString Conversation::newID() {
    return newIDWithPrefix(QLatin1StringView("conv_"));
}

Conversation Conversation::fromJson(const boost::json::value& json) {
    const auto& object = json::asObject(json);
    return {json::requiredString(object, "id"), json::requiredString(object, "title"),
            json::requiredInteger(object, "created_at"), json::requiredInteger(object, "updated_at")};
}

boost::json::object Conversation::toJson() const {
    return {{"id", json::toJson(id)},
            {"title", json::toJson(title)},
            {"created_at", createdAt},
            {"updated_at", updatedAt}};
}

AttachedFile AttachedFile::fromJson(const boost::json::value& json) {
    const auto& object = json::asObject(json);
    return {json::requiredString(object, "id"), json::requiredString(object, "name"),
            json::requiredString(object, "type"), json::requiredString(object, "base64"),
            json::requiredInteger(object, "size")};
}

boost::json::object AttachedFile::toJson() const {
    return {{"id", json::toJson(id)},
            {"name", json::toJson(name)},
            {"type", json::toJson(type)},
            {"base64", json::toJson(base64)},
            {"size", size}};
}

QString ChatMessage::newID() {
    return newIDWithPrefix(QLatin1StringView("msg_"));
}

QList<AttachedFile> ChatMessage::decodedAttachments() const {
    if (!attachedFiles) {
        return {};
    }
    try {
        const auto document = json::parse(attachedFiles->toUtf8());
        QList<AttachedFile> files;
        for (const auto& element : json::asArray(document)) {
            files.append(AttachedFile::fromJson(element));
        }
        return files;
    } catch (const json::DecodingError&) {
        return {};
    }
}

ChatMessage ChatMessage::fromJson(const boost::json::value& json) {
    const auto& object = json::asObject(json);
    const auto role = messageRole(json::requiredString(object, "role"));
    if (!role) {
        throw json::DecodingError("unknown value for key: role");
    }
    return {json::requiredString(object, "id"),
            json::requiredString(object, "conversation_id"),
            *role,
            json::requiredString(object, "content"),
            json::requiredInteger(object, "timestamp"),
            json::optionalString(object, "attached_files")};
}

boost::json::object ChatMessage::toJson() const {
    boost::json::object object{{"id", json::toJson(id)},
                               {"conversation_id", json::toJson(conversationId)},
                               {"role", json::toJson(rawValue(role))},
                               {"content", json::toJson(content)},
                               {"timestamp", timestamp}};
    if (attachedFiles) {
        object["attached_files"] = json::toJson(*attachedFiles);
    }
    return object;
}

SystemPrompt SystemPrompt::fromJson(const boost::json::value& json) {
    const auto& object = json::asObject(json);
    return {json::requiredInteger(object, "id"), json::requiredString(object, "name"),
            json::requiredString(object, "prompt"), json::requiredString(object, "created_at"),
            json::requiredString(object, "updated_at")};
}

boost::json::object SystemPrompt::toJson() const {
    return {{"id", id},
            {"name", json::toJson(name)},
            {"prompt", json::toJson(prompt)},
            {"created_at", json::toJson(createdAt)},
            {"updated_at", json::toJson(updatedAt)}};
}

} // namespace corvane
