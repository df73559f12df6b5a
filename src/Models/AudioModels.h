#pragma once

#include <QString>

#include <cstdint>

#include <boost/json/value.hpp>

namespace corvane {

// What happens to system audio while it is captured.
enum class AudioCaptureMode {
    vad,          // utterances, cut by the detector
    continuous,   // collected, not delivered
    rawStreaming, // a chunk every 80 ms; the detector only marks speech
};

// Settings of the voice activity detector. Its JSON keys are the field names, all required.
struct VadConfig {
    bool enabled;
    int hopSize;                  // samples a hop, at least 1
    float sensitivityRMS;         // a hop at or above is speech
    float peakThreshold;          // a hop with such a peak magnitude is speech
    int silenceChunks;            // hangover: silent hops in a row that end speech
    int minSpeechChunks;          // speech hops that make a segment count
    int preSpeechChunks;          // hops kept from before the onset
    float noiseGateThreshold;     // RMS below which a hop is silence whatever its peak
    int maxRecordingDurationSecs; // seconds after the onset at which a segment is cut

    // Strict: throws DecodingError (Json.h), also for a number that its field cannot hold.
    static VadConfig fromJson(const boost::json::value& json);
    boost::json::object toJson() const;
    bool operator==(const VadConfig&) const = default;
};

// The one set of values that every capture uses.
inline constexpr VadConfig interviewVadConfig{true, 1024, 0.012F, 0.035F, 45, 7, 12, 0.003F, 180};

struct AudioDevice {
    QString id;
    QString name;
    bool isDefault = false;

    bool operator==(const AudioDevice&) const = default;
};

} // namespace corvane
