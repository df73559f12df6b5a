#pragma once

#include "Platform/Core/Secret.h"
#include "Utilities/Json.h"

#include <QList>

namespace corvane {

// A language model or speech-to-text service of the user's own. The records are written into the defaults
// store by hand or by another tool, and only read here. fromJson() is strict: a missing key or a value of
// another kind throws json::DecodingError for the whole record.

struct AIModel {
    QString id;
    QString name;
    QString model;

    bool operator==(const AIModel&) const = default;
    static AIModel fromJson(const boost::json::value& value);
};

// A chat endpoint: the request goes to baseUrl with chatEndpoint behind it, nothing in between.
struct CustomAIProvider {
    QString id; // what SelectedProvider::id names
    QString name;
    QString baseUrl;
    QString chatEndpoint;
    QString authType;
    QString defaultModel;
    QString responseContentPath; // dotted path to the text in each streamed object
    bool supportsStreaming = false;
    bool supportsImages = false;
    bool isCustom = false;
    QString curl;
    QList<AIModel> models;

    bool operator==(const CustomAIProvider&) const = default;
    static CustomAIProvider fromJson(const boost::json::value& value);
};

// A speech-to-text endpoint. No sound goes there yet.
struct CustomSTTProvider {
    QString id;
    QString name;
    QString baseUrl;
    QString endpoint;
    QString authType;
    platform::Secret apiKey;
    QString responseTranscriptionPath;
    QString formDataAudioField;
    QString formDataFormat;
    bool isCustom = false;
    QString curl;

    bool operator==(const CustomSTTProvider&) const = default;
    static CustomSTTProvider fromJson(const boost::json::value& value);
};

// The current choice, of either kind.
struct SelectedProvider {
    QString id;
    QString name;
    bool isConfigured = false;
    std::optional<platform::Secret> apiKey;

    bool operator==(const SelectedProvider&) const = default;
    static SelectedProvider fromJson(const boost::json::value& value);
};

} // namespace corvane
