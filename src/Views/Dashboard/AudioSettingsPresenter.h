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

// The page of the audio devices. The lists are those of the page's last appearance; what is heard, and how
// loud, follows the sound server for as long as the page is in view.
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

    // The page has come into view: loads the lists and listens to the levels.
    Q_INVOKABLE void appear();
    // The page is out of view: no device is listened to for it any more.
    Q_INVOKABLE void disappear();

    // The rows of a picker, "Default" first, and the chosen one; -1 when what is stored is not there.
    QStringList inputs() const;
    int input() const;
    QStringList outputs() const;
    int output() const;
    Q_INVOKABLE void pickInput(int row);
    Q_INVOKABLE void pickOutput(int row);
    // The devices that are heard, by name, empty for none, and their levels from 0 to 1.
    QString heardInput() const;
    double inputLevel() const;
    QString heardOutput() const;
    double outputLevel() const;
    // Why there are no devices, and what to do; empty when there are.
    QString devicesNotice() const { return m_devicesNotice; }

    Q_INVOKABLE void openSystemSettings();
    // Why nothing opened; empty when something did.
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
    // While the page is in view.
    std::unique_ptr<SoundMeter> m_inputMeter;
    std::unique_ptr<SoundMeter> m_outputMeter;
    platform::OperationScope m_loading;
};

} // namespace corvane
