#include "Views/Dashboard/AudioSettingsPresenter.h"

#include "Platform/Core/Tasks.h"
#include "Platform/Desktop/SystemAccess.h"
#include "Services/AudioCaptureService.h"
#include "Services/SoundMeter.h"
#include "ViewModels/SettingsViewModel.h"

namespace corvane {

namespace {

constexpr auto screenRecordingPage =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture";

QStringList pickerRows(const QList<AudioDevice>& devices) {
    QStringList rows{QStringLiteral("Default")};
    for (const auto& device : devices) {
        rows.append(device.name);
    }
    return rows;
}

int pickerRow(const std::optional<QString>& id, const QList<AudioDevice>& devices) {
    if (!id) {
        return 0;
    }
    const auto found = std::ranges::find(devices, *id, &AudioDevice::id);
    return found == devices.end() ? -1 : static_cast<int>(found - devices.begin()) + 1;
}

std::optional<QString> deviceId(int row, const QList<AudioDevice>& devices) {
    return row < 1 ? std::nullopt : std::optional(devices.at(row - 1).id);
}

} // namespace

AudioSettingsPresenter::AudioSettingsPresenter(SettingsViewModel& settings, AudioCaptureService& audioCapture,
                                               platform::SystemAccess& access)
    : m_settings(settings)
    , m_audioCapture(audioCapture)
    , m_access(access) {
    connect(&settings, &SettingsViewModel::selectedAudioDevicesChanged, this, [this] {
        m_settings.saveAudioDevices();
        Q_EMIT inputsChanged();
        Q_EMIT outputsChanged();
    });
}

AudioSettingsPresenter::~AudioSettingsPresenter() = default;

void AudioSettingsPresenter::appear() {
    setSetupNotice({});
    const auto meter = [this](platform::AudioSourceKind source) {
        auto result = m_audioCapture.makeMeter(source);
        connect(result.get(), &SoundMeter::changed, this, &AudioSettingsPresenter::levelsChanged);
        return result;
    };
    m_inputMeter = meter(platform::AudioSourceKind::microphone);
    m_outputMeter = meter(platform::AudioSourceKind::systemOutput);
    Q_EMIT levelsChanged();
    m_loading.cancel();
    platform::startTask(loadDevices(), "devices");
}

void AudioSettingsPresenter::disappear() {
    m_inputMeter.reset();
    m_outputMeter.reset();
    Q_EMIT levelsChanged();
}

QCoro::Task<void> AudioSettingsPresenter::loadDevices() {
    const auto ticket = m_loading.ticket();
    const auto inputDevices = co_await m_audioCapture.getInputDevices();
    ticket.ensureCurrent();
    const auto outputDevices = co_await m_audioCapture.getOutputDevices();
    ticket.ensureCurrent();
    bool answers = true;
    if (inputDevices.isEmpty() && outputDevices.isEmpty()) {
        answers = co_await m_audioCapture.checkPermission();
        ticket.ensureCurrent();
    }
    if (std::exchange(m_inputDevices, inputDevices) != inputDevices) {
        Q_EMIT inputsChanged();
    }
    if (std::exchange(m_outputDevices, outputDevices) != outputDevices) {
        Q_EMIT outputsChanged();
    }
    setDevicesNotice(
        answers ? QString()
                : QStringLiteral("No sound server is running. Start PipeWire or PulseAudio and come back."));
}

QStringList AudioSettingsPresenter::inputs() const {
    return pickerRows(m_inputDevices);
}

int AudioSettingsPresenter::input() const {
    return pickerRow(m_settings.selectedAudioDevices().input, m_inputDevices);
}

QStringList AudioSettingsPresenter::outputs() const {
    return pickerRows(m_outputDevices);
}

int AudioSettingsPresenter::output() const {
    return pickerRow(m_settings.selectedAudioDevices().output, m_outputDevices);
}

QString AudioSettingsPresenter::heardInput() const {
    return m_inputMeter ? m_inputMeter->device() : QString();
}

double AudioSettingsPresenter::inputLevel() const {
    return m_inputMeter ? m_inputMeter->level() : 0;
}

QString AudioSettingsPresenter::heardOutput() const {
    return m_outputMeter ? m_outputMeter->device() : QString();
}

double AudioSettingsPresenter::outputLevel() const {
    return m_outputMeter ? m_outputMeter->level() : 0;
}

void AudioSettingsPresenter::pickInput(int row) {
    auto devices = m_settings.selectedAudioDevices();
    devices.input = deviceId(row, m_inputDevices);
    m_settings.setSelectedAudioDevices(devices);
}

void AudioSettingsPresenter::pickOutput(int row) {
    auto devices = m_settings.selectedAudioDevices();
    devices.output = deviceId(row, m_outputDevices);
    m_settings.setSelectedAudioDevices(devices);
}

void AudioSettingsPresenter::openSystemSettings() {
    const bool opened = m_access.open(QString::fromLatin1(screenRecordingPage));
    setSetupNotice(opened ? QString() : platform::soundSettingsAdvice());
}

void AudioSettingsPresenter::setDevicesNotice(const QString& notice) {
    if (std::exchange(m_devicesNotice, notice) != notice) {
        Q_EMIT devicesNoticeChanged();
    }
}

void AudioSettingsPresenter::setSetupNotice(const QString& notice) {
    if (std::exchange(m_setupNotice, notice) != notice) {
        Q_EMIT setupNoticeChanged();
    }
}

} // namespace corvane
