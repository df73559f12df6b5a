#include "Models/ProviderModels.h"

#include <boost/json/array.hpp>

namespace corvane {

AIModel AIModel::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    return {.id = json::requiredString(object, "id"),
            .name = json::requiredString(object, "name"),
            .model = json::requiredString(object, "model")};
}

CustomAIProvider CustomAIProvider::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    CustomAIProvider provider{.id = json::requiredString(object, "id"),
                              .name = json::requiredString(object, "name"),
                              .baseUrl = json::requiredString(object, "baseUrl"),
                              .chatEndpoint = json::requiredString(object, "chatEndpoint"),
                              .authType = json::requiredString(object, "authType"),
                              .defaultModel = json::requiredString(object, "defaultModel"),
                              .responseContentPath = json::requiredString(object, "responseContentPath"),
                              .supportsStreaming = json::requiredBoolean(object, "supportsStreaming"),
                              .supportsImages = json::requiredBoolean(object, "supportsImages"),
                              .isCustom = json::requiredBoolean(object, "isCustom"),
                              .curl = json::requiredString(object, "curl"),
                              .models = {}};
    for (const auto& model : json::asArray(json::requiredValue(object, "models"))) {
        provider.models.append(AIModel::fromJson(model));
    }
    return provider;
}

CustomSTTProvider CustomSTTProvider::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    return {.id = json::requiredString(object, "id"),
            .name = json::requiredString(object, "name"),
            .baseUrl = json::requiredString(object, "baseUrl"),
            .endpoint = json::requiredString(object, "endpoint"),
            .authType = json::requiredString(object, "authType"),
            .apiKey = platform::Secret(json::requiredString(object, "apiKey")),
            .responseTranscriptionPath = json::requiredString(object, "responseTranscriptionPath"),
            .formDataAudioField = json::requiredString(object, "formDataAudioField"),
            .formDataFormat = json::requiredString(object, "formDataFormat"),
            .isCustom = json::requiredBoolean(object, "isCustom"),
            .curl = json::requiredString(object, "curl")};
}

SelectedProvider SelectedProvider::fromJson(const boost::json::value& value) {
    const auto& object = json::asObject(value);
    SelectedProvider provider{.id = json::requiredString(object, "id"),
                              .name = json::requiredString(object, "name"),
                              .isConfigured = json::requiredBoolean(object, "isConfigured"),
                              .apiKey = std::nullopt};
    if (const auto key = json::optionalString(object, "apiKey")) {
        provider.apiKey = platform::Secret(*key);
    }
    return provider;
}

} // namespace corvane
