#include "Platform/Audio/PulseInventory.h"

#include <algorithm>
#include <utility>

namespace platform {

const PulseSource* PulseInventory::source(uint32_t index) const {
    const auto found = std::ranges::find(sources, index, &PulseSource::index);
    return found == sources.end() ? nullptr : &*found;
}

const PulseSink* PulseInventory::sink(uint32_t index) const {
    const auto found = std::ranges::find(sinks, index, &PulseSink::index);
    return found == sinks.end() ? nullptr : &*found;
}

bool PulseInventory::plays(uint32_t sink) const {
    return std::ranges::find(playing, sink) != playing.end();
}

const PulseSink* PulseInventory::heardSink() const {
    const auto found = std::ranges::find(sinks, defaultSink, &PulseSink::name);
    const auto* chosen = found == sinks.end() ? nullptr : &*found;
    if (chosen && plays(chosen->index)) {
        return chosen;
    }
    const auto playsSomething = [this](const PulseSink& sink) { return plays(sink.index); };
    const auto other = std::ranges::find_if(sinks, playsSomething);
    return std::ranges::count_if(sinks, playsSomething) == 1 ? &*other : chosen;
}

const PulseSource* PulseInventory::systemSource() const {
    const auto* heard = heardSink();
    if (!heard) {
        return nullptr;
    }
    const auto* monitor = source(heard->monitor);
    if (monitor && monitor->monitorOf != heard->index) {
        throw AudioError(
            AudioError::Kind::notAMonitor,
            QStringLiteral("The sound output \"%1\" cannot be listened to: its monitor is another device.")
                .arg(heard->description));
    }
    return monitor;
}

const PulseSource* PulseInventory::microphone() const {
    const auto found = std::ranges::find(sources, defaultSource, &PulseSource::name);
    return found == sources.end() || found->isMonitor() ? nullptr : &*found;
}

const PulseSource* PulseInventory::source(AudioSourceKind kind) const {
    return kind == AudioSourceKind::systemOutput ? systemSource() : microphone();
}

QString PulseInventory::deviceName(const PulseSource& source) const {
    const auto* output = sink(source.monitorOf);
    return output ? output->description : source.description;
}

void PulseInventoryReader::read(pa_context* context, Done done) {
    cancel();
    m_done = std::move(done);
    m_inventory = {};
    m_failed = false;
    m_open = 4;
    const auto server = [](pa_context*, const pa_server_info* info, void* self) {
        auto* reader = static_cast<PulseInventoryReader*>(self);
        if (info) {
            reader->m_inventory.defaultSink = info->default_sink_name;
            reader->m_inventory.defaultSource = info->default_source_name;
        }
        reader->finishOne(info != nullptr);
    };
    m_operations.emplace_back(pa_context_get_server_info(context, server, this));
    m_operations.emplace_back(
        pa_context_get_sink_info_list(context, &listed<pa_sink_info, &PulseInventoryReader::takeSink>, this));
    m_operations.emplace_back(pa_context_get_source_info_list(
        context, &listed<pa_source_info, &PulseInventoryReader::takeSource>, this));
    m_operations.emplace_back(pa_context_get_sink_input_info_list(
        context, &listed<pa_sink_input_info, &PulseInventoryReader::takePlaying>, this));
}

void PulseInventoryReader::cancel() {
    m_operations.clear();
    m_done = nullptr;
}

template<typename Info, auto Take>
void PulseInventoryReader::listed(pa_context*, const Info* info, int end, void* self) {
    auto* reader = static_cast<PulseInventoryReader*>(self);
    if (end == 0) {
        (reader->*Take)(*info);
    } else {
        reader->finishOne(end > 0);
    }
}

void PulseInventoryReader::finishOne(bool succeeded) {
    m_failed = m_failed || !succeeded;
    if (--m_open == 0) {
        // `done` may start the next reading or destroy the reader.
        const auto done = std::exchange(m_done, nullptr);
        done(m_failed ? std::nullopt : std::optional(std::move(m_inventory)));
    }
}

void PulseInventoryReader::takeSink(const pa_sink_info& info) {
    m_inventory.sinks.push_back({info.index, info.name, QString::fromUtf8(info.description),
                                 info.monitor_source, info.mute != 0,
                                 pa_sw_volume_to_linear(pa_cvolume_max(&info.volume))});
}

void PulseInventoryReader::takeSource(const pa_source_info& info) {
    m_inventory.sources.push_back({info.index, info.name, QString::fromUtf8(info.description),
                                   info.monitor_of_sink, info.sample_spec, info.channel_map});
}

void PulseInventoryReader::takePlaying(const pa_sink_input_info& info) {
    if (!info.corked) {
        m_inventory.playing.push_back(info.sink);
    }
}

} // namespace platform
