#pragma once

#include "Platform/Storage/DefaultsStore.h"
#include "Utilities/Json.h"

#include <boost/json/array.hpp>

#include <memory>

namespace corvane {

// Chooses one provider, "p", instead of the backend. Without a key in the entry if `apiKey` is null.
inline void chooseProvider(platform::DefaultsStore& defaults, const QString& baseUrl, const QString& endpoint,
                           const QString& apiKey = {}) {
    boost::json::object selected{{"id", "p"}, {"name", "P"}, {"isConfigured", true}};
    if (!apiKey.isNull()) {
        selected["apiKey"] = json::toJson(apiKey);
    }
    const boost::json::object provider{{"id", "p"},
                                       {"name", "P"},
                                       {"baseUrl", json::toJson(baseUrl)},
                                       {"chatEndpoint", json::toJson(endpoint)},
                                       {"authType", "none"},
                                       {"defaultModel", "m-1"},
                                       {"responseContentPath", "choices.0.delta.content"},
                                       {"supportsStreaming", true},
                                       {"supportsImages", false},
                                       {"isCustom", true},
                                       {"curl", ""},
                                       {"models", boost::json::array()}};
    defaults.setData("selected_ai_provider", json::serialize(selected));
    defaults.setData("custom_ai_providers", json::serialize(boost::json::array{provider}));
    defaults.setBool("corvane_api_enabled", false);
}

// A store of its own with that choice.
inline std::unique_ptr<platform::DefaultsStore>
providerEntries(const QString& baseUrl, const QString& endpoint, const QString& apiKey = {}) {
    auto defaults = platform::makeMemoryDefaultsStore();
    chooseProvider(*defaults, baseUrl, endpoint, apiKey);
    return defaults;
}

} // namespace corvane
