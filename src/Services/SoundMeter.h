#pragma once

#include "Platform/Audio/AudioHost.h"
#include "Platform/Core/Clock.h"
#include "Platform/Core/OperationScope.h"

#include <QObject>

namespace corvane {

// Shows which device a source is heard from at present and how loud it is. While there is no device, it looks
// for one every few seconds. Main thread.
class SoundMeter : public QObject {
    Q_OBJECT

public:
    SoundMeter(platform::AudioHost& host, platform::Clock& clock, platform::AudioSourceKind source);
    ~SoundMeter() override;

    // Returns the name of the device, or an empty text while nothing is heard.
    const QString& device() const { return m_device; }
    // Returns the level from 0 (-60 dB of full scale or less) to 1 (full scale), in steps of a hundredth.
    double level() const { return m_level; }

Q_SIGNALS:
    void changed();

private:
    void open();
    QCoro::Task<void> openMeter();
    platform::AudioStreamHandlers handlers();
    void show(const QString& device, double level);
    void lose();

    platform::AudioHost& m_host;
    platform::Clock& m_clock;
    const platform::AudioSourceKind m_source;
    QString m_device;
    double m_level = 0;
    std::unique_ptr<platform::AudioStream> m_stream;
    std::unique_ptr<platform::Timer> m_retry;
    platform::OperationScope m_scope;
};

} // namespace corvane
