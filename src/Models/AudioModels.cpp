#include "Models/AudioModels.h"

#include "Utilities/Json.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace corvane {

namespace {

int requiredInt(const boost::json::object& object, std::string_view key) {
    const auto number = json::requiredInteger(object, key);
    if (!std::in_range<int>(number)) {
        throw json::DecodingError("number out of range for key: " + std::string(key));
    }
    return static_cast<int>(number);
}

float requiredFloat(const boost::json::object& object, std::string_view key) {
    const auto number = json::requiredReal(object, key);
    if (std::abs(number) > std::numeric_limits<float>::max()) {
        throw json::DecodingError("number out of range for key: " + std::string(key));
    }
    return static_cast<float>(number);
}

// Returns the double whose shortest decimal form reads back as the same float: 0.012, not
// 0.012000000104308128.
double shortest(float number) {
    std::array<char, 32> text{};
    const auto written = std::to_chars(text.begin(), text.end(), number);
    double value = number;
    std::from_chars(text.begin(), written.ptr, value);
    return value;
}

} // namespace

VadConfig VadConfig::fromJson(const boost::json::value& json) {
    const auto& object = json::asObject(json);
    return {json::requiredBoolean(object, "enabled"),       requiredInt(object, "hopSize"),
            requiredFloat(object, "sensitivityRMS"),        requiredFloat(object, "peakThreshold"),
            requiredInt(object, "silenceChunks"),           requiredInt(object, "minSpeechChunks"),
            requiredInt(object, "preSpeechChunks"),         requiredFloat(object, "noiseGateThreshold"),
            requiredInt(object, "maxRecordingDurationSecs")};
}

boost::json::object VadConfig::toJson() const {
    return {{"enabled", enabled},
            {"hopSize", hopSize},
            {"sensitivityRMS", shortest(sensitivityRMS)},
            {"peakThreshold", shortest(peakThreshold)},
            {"silenceChunks", silenceChunks},
            {"minSpeechChunks", minSpeechChunks},
            {"preSpeechChunks", preSpeechChunks},
            {"noiseGateThreshold", shortest(noiseGateThreshold)},
            {"maxRecordingDurationSecs", maxRecordingDurationSecs}};
}

} // namespace corvane
