#pragma once

#include "Platform/Audio/PulseConnection.h"

#include <QByteArray>

#include <optional>
#include <vector>

namespace platform {

struct PulseSink {
    uint32_t index = PA_INVALID_INDEX;
    QByteArray name;
    QString description;
    uint32_t monitor = PA_INVALID_INDEX; // the source that carries what it plays
};

struct PulseSource {
    uint32_t index = PA_INVALID_INDEX;
    QByteArray name;
    QString description;
    uint32_t monitorOf = PA_INVALID_INDEX; // a sink; invalid for an input
    pa_sample_spec sample{};

    bool isMonitor() const { return monitorOf != PA_INVALID_INDEX; }
};

// The devices of a sound server at one moment.
struct PulseInventory {
    QByteArray defaultSink;
    QByteArray defaultSource;
    std::vector<PulseSink> sinks;
    std::vector<PulseSource> sources;
    int playingStreams = 0; // not paused

    const PulseSource* source(uint32_t index) const;
    // The monitor of the default sink, by the sink's own statement and never by a name. Nothing when there is
    // none. Throws AudioError notAMonitor when what the sink states is something else.
    const PulseSource* systemSource() const;
    // The default source. Nothing when there is none or when it is a monitor: another input is not taken in
    // its place, since nobody chose it.
    const PulseSource* microphone() const;
};

// Asks the server for its devices. On the connection's thread, where it also has to be destroyed.
class PulseInventoryReader {
public:
    // Nothing: the server refused to tell.
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
