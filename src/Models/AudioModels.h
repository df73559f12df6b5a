#pragma once

#include <QString>

#include <cstdint>

#include <boost/json/value.hpp>

namespace corvane {

// What happens to system audio while it is captured.
enum class AudioCaptureMode {
    vad,          // emits a file for each utterance that the detector finds
    continuous,   // collects samples and emits nothing
    rawStreaming, // emits a chunk every 80 ms; the detector only marks speech
};

// Settings of the voice activity detector. Its JSON keys are the field names, all required.
struct VadConfig {
    bool enabled;
    int hopSize;                  // samples per hop, at least 1
    float sensitivityRMS;         // a hop with at least this RMS is speech
    float peakThreshold;          // a hop with at least this peak magnitude is speech
    int silenceChunks;            // hangover: number of silent hops in a row that ends speech
    int minSpeechChunks;          // a segment with fewer speech hops is dropped
    int preSpeechChunks;          // number of hops kept from before the onset
    float noiseGateThreshold;     // RMS below which a hop is silence whatever its peak
    int maxRecordingDurationSecs; // seconds after the onset at which a segment is cut

    // Throws json::DecodingError when a key is missing or its value has another type, or when a number is out
    // of its field's range.
    static VadConfig fromJson(const boost::json::value& json);
    boost::json::object toJson() const;
    bool operator==(const VadConfig&) const = default;
};

// The values that every capture uses.
inline constexpr VadConfig interviewVadConfig{true, 1024, 0.012F, 0.035F, 45, 7, 12, 0.003F, 180};

struct AudioDevice {
    QString id;
    QString name;
    bool isDefault = false;

    bool operator==(const AudioDevice&) const = default;
};

} // namespace corvane
