#include "Services/SoundMeter.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Tasks.h"

#include <QPointer>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace corvane {

using namespace std::chrono_literals;

namespace {

constexpr auto retryInterval = 3s;
constexpr double quietest = -60; // dB of full scale

double meterLevel(const platform::AudioBuffer& peaks) {
    float loudest = 0;
    for (size_t at = 0; at + sizeof(float) <= peaks.length; at += sizeof(float)) {
        float peak = 0;
        std::memcpy(&peak, peaks.data + at, sizeof peak);
        loudest = std::max(loudest, std::abs(peak));
    }
    const double decibels = 20 * std::log10(std::max(static_cast<double>(loudest), 1e-9));
    return std::round(std::clamp(1 - decibels / quietest, 0.0, 1.0) * 100) / 100;
}

} // namespace

SoundMeter::SoundMeter(platform::AudioHost& host, platform::Clock& clock, platform::AudioSourceKind source)
    : m_host(host)
    , m_clock(clock)
    , m_source(source) {
    open();
}

SoundMeter::~SoundMeter() = default;

void SoundMeter::open() {
    platform::startTask(openMeter(), "SoundMeter");
}

QCoro::Task<void> SoundMeter::openMeter() {
    const auto ticket = m_scope.ticket();
    bool opened = true;
    auto streamHandlers = handlers();
    std::unique_ptr<platform::AudioStream> stream;
    try {
        stream = co_await m_host.startMeter(m_source, std::move(streamHandlers));
    } catch (const platform::AudioError&) {
        opened = false;
    }
    ticket.ensureCurrent();
    if (opened) {
        m_stream = std::move(stream);
    } else {
        lose();
    }
}

// Reports that come after the end of this object are dropped.
platform::AudioStreamHandlers SoundMeter::handlers() {
    const QPointer self(this);
    return {
        .buffer =
            [self](const platform::AudioBuffer& buffer) {
                platform::dispatchToMain([self, level = meterLevel(buffer)] {
                    if (self && !self->m_device.isEmpty()) {
                        self->show(self->m_device, level);
                    }
                });
            },
        .stoppedWithError =
            [self](const QString&) {
                // Queued, since it destroys the stream that reports.
                platform::dispatchToMain([self] {
                    if (self) {
                        self->lose();
                    }
                });
            },
        .deviceChanged =
            [self](const QString& device) {
                if (self) {
                    self->show(device, self->m_level);
                }
            },
    };
}

void SoundMeter::show(const QString& device, double level) {
    if (m_device != device || m_level != level) {
        m_device = device;
        m_level = level;
        Q_EMIT changed();
    }
}

void SoundMeter::lose() {
    m_stream.reset();
    m_retry = m_clock.once(retryInterval, [this] { open(); });
    show({}, 0);
}

} // namespace corvane
