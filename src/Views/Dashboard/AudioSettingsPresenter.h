#pragma once

#include "Models/AudioModels.h"
#include "Platform/Core/OperationScope.h"

#include <QCoroTask>
#include <QList>
#include <QObject>
#include <QStringList>
#include <qqmlregistration.h>

#include <memory>
#include <optional>

namespace platform {
class SystemAccess;
}

namespace corvane {

class AudioCaptureService;
class SettingsViewModel;
class SoundMeter;

// The audio page. The lists of devices are loaded each time the page appears; the device that is heard and
// its level follow the sound server for as long as the page is visible.
class AudioSettingsPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the dashboard")
    Q_PROPERTY(QStringList inputs READ inputs NOTIFY inputsChanged)
    Q_PROPERTY(int input READ input NOTIFY inputsChanged)
    Q_PROPERTY(QStringList outputs READ outputs NOTIFY outputsChanged)
    Q_PROPERTY(int output READ output NOTIFY outputsChanged)
    Q_PROPERTY(QString heardInput READ heardInput NOTIFY levelsChanged)
    Q_PROPERTY(double inputLevel READ inputLevel NOTIFY levelsChanged)
    Q_PROPERTY(QString heardOutput READ heardOutput NOTIFY levelsChanged)
    Q_PROPERTY(double outputLevel READ outputLevel NOTIFY levelsChanged)
    Q_PROPERTY(QString devicesNotice READ devicesNotice NOTIFY devicesNoticeChanged)
    Q_PROPERTY(QString setupNotice READ setupNotice NOTIFY setupNoticeChanged)

public:
    AudioSettingsPresenter(SettingsViewModel& settings, AudioCaptureService& audioCapture,
                           platform::SystemAccess& access);
    ~AudioSettingsPresenter() override;

    // Called when the page becomes visible: loads the lists and starts the level meters.
    Q_INVOKABLE void appear();
    // Called when the page is no longer visible: stops the level meters.
    Q_INVOKABLE void disappear();

    // These return the rows of a picker, "Default" first, and the selected row, or -1 when the stored device
    // is not among them.
    QStringList inputs() const;
    int input() const;
    QStringList outputs() const;
    int output() const;
    Q_INVOKABLE void pickInput(int row);
    Q_INVOKABLE void pickOutput(int row);
    // These return the names of the devices that are heard, empty when there is none, and their levels from 0
    // to 1.
    QString heardInput() const;
    double inputLevel() const;
    QString heardOutput() const;
    double outputLevel() const;
    // Returns why there are no devices and what to do, or an empty text when there are some.
    QString devicesNotice() const { return m_devicesNotice; }

    Q_INVOKABLE void openSystemSettings();
    // Returns why the system settings could not be opened, or an empty text when they were.
    QString setupNotice() const { return m_setupNotice; }

Q_SIGNALS:
    void inputsChanged();
    void outputsChanged();
    void levelsChanged();
    void devicesNoticeChanged();
    void setupNoticeChanged();

private:
    QCoro::Task<void> loadDevices();
    void setDevicesNotice(const QString& notice);
    void setSetupNotice(const QString& notice);

    SettingsViewModel& m_settings;
    AudioCaptureService& m_audioCapture;
    platform::SystemAccess& m_access;
    QList<AudioDevice> m_inputDevices;
    QList<AudioDevice> m_outputDevices;
    QString m_devicesNotice;
    QString m_setupNotice;
    // Null while the page is not visible.
    std::unique_ptr<SoundMeter> m_inputMeter;
    std::unique_ptr<SoundMeter> m_outputMeter;
    platform::OperationScope m_loading;
};

} // namespace corvane
