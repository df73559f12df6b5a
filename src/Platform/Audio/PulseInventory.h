#pragma once

#include "Platform/Audio/PulseConnection.h"

#include <QByteArray>

#include <optional>
#include <vector>

namespace platform {

struct PulseSink {
    uint32_t index = PA_INVALID_INDEX;
    QByteArray name = {};
    QString description = {};
    uint32_t monitor = PA_INVALID_INDEX; // the source that carries what it plays
    bool muted = false;
    double volume = 1; // amplitude factor of the loudest channel
};

struct PulseSource {
    uint32_t index = PA_INVALID_INDEX;
    QByteArray name = {};
    QString description = {};
    uint32_t monitorOf = PA_INVALID_INDEX; // a sink; invalid for an input
    pa_sample_spec sample{};
    pa_channel_map channelMap{}; // libpulse has no default map for more than six channels

    bool isMonitor() const { return monitorOf != PA_INVALID_INDEX; }
};

// The devices of a sound server at one moment.
struct PulseInventory {
    QByteArray defaultSink;
    QByteArray defaultSource;
    std::vector<PulseSink> sinks;
    std::vector<PulseSource> sources;
    std::vector<uint32_t> playing; // the sink of each stream that is not paused

    const PulseSource* source(uint32_t index) const;
    const PulseSink* sink(uint32_t index) const;
    bool plays(uint32_t sink) const;
    // Returns the sink that a call is heard on: the default one or, if that is idle and exactly one other
    // plays, that one. Returns null if there is none.
    const PulseSink* heardSink() const;
    // Returns the monitor of heardSink(), as the sink states it and never by name, or null if there is none.
    // Throws AudioError notAMonitor if the stated source is not the sink's monitor.
    const PulseSource* systemSource() const;
    // Returns the default source, or null if there is none or if it is a monitor. Another input does not take
    // its place, since nobody chose it.
    const PulseSource* microphone() const;
    // Returns systemSource() or microphone().
    const PulseSource* source(AudioSourceKind kind) const;
    // Returns the display name of the device that is heard through `source`.
    QString deviceName(const PulseSource& source) const;
};

// Asks the server for its devices. Used and destroyed on the connection's thread.
class PulseInventoryReader {
public:
    // Gets nullopt if the server refused.
    using Done = std::function<void(std::optional<PulseInventory>)>;

    // Starts a reading, and cancels one that is pending.
    void read(pa_context* context, Done done);
    // Cancels a pending reading.
    void cancel();

private:
    template<typename Info, auto Take>
    static void listed(pa_context*, const Info* info, int end, void* self);
    void finishOne(bool succeeded);

    void takeSink(const pa_sink_info& info);
    void takeSource(const pa_source_info& info);
    void takePlaying(const pa_sink_input_info& info);

    std::vector<PulseOperation> m_operations;
    PulseInventory m_inventory;
    int m_open = 0;
    bool m_failed = false;
    Done m_done;
};

} // namespace platform
