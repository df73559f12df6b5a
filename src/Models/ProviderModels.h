#pragma once

#include "Platform/Core/Secret.h"
#include "Utilities/Json.h"

#include <QList>

namespace corvane {

// A language model or speech-to-text service that the user has set up. The records are written to the
// defaults store by hand or by another tool, and only read here. fromJson() throws json::DecodingError when a
// key is missing or its value has another type.

struct AIModel {
    QString id;
    QString name;
    QString model;

    bool operator==(const AIModel&) const = default;
    static AIModel fromJson(const boost::json::value& value);
};

// A chat endpoint. Requests go to baseUrl followed directly by chatEndpoint.
struct CustomAIProvider {
    QString id; // SelectedProvider::id refers to it
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

// A speech-to-text endpoint. The program does not use it yet.
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

// The provider that is chosen at present, of either kind.
struct SelectedProvider {
    QString id;
    QString name;
    bool isConfigured = false;
    std::optional<platform::Secret> apiKey;

    bool operator==(const SelectedProvider&) const = default;
    static SelectedProvider fromJson(const boost::json::value& value);
};

} // namespace corvane
