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
    double volume = 1; // factor of the amplitude, of the loudest channel
};

struct PulseSource {
    uint32_t index = PA_INVALID_INDEX;
    QByteArray name = {};
    QString description = {};
    uint32_t monitorOf = PA_INVALID_INDEX; // a sink; invalid for an input
    pa_sample_spec sample{};
    pa_channel_map channelMap{}; // libpulse invents none for more than six channels

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
    // The sink that a call is heard on: the default one, or the one that plays when the default plays nothing
    // and exactly one other does. Null when there is none.
    const PulseSink* heardSink() const;
    // The monitor of heardSink(), by the sink's own statement and never by a name. Null when there is none.
    // Throws AudioError notAMonitor when what the sink states is something else.
    const PulseSource* systemSource() const;
    // The default source. Null when there is none or when it is a monitor: another input is not taken in its
    // place, since nobody chose it.
    const PulseSource* microphone() const;
    // systemSource() or microphone().
    const PulseSource* source(AudioSourceKind kind) const;
    // The name for people of what is heard through `source`.
    QString deviceName(const PulseSource& source) const;
};

// Asks the server for its devices. On the connection's thread, where it also has to be destroyed.
class PulseInventoryReader {
public:
    // nullopt when the server refused to tell.
    using Done = std::function<void(std::optional<PulseInventory>)>;

    // A reading under way is withdrawn.
    void read(pa_context* context, Done done);
    // Withdraws a reading under way.
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
