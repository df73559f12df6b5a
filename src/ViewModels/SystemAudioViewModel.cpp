#include "ViewModels/SystemAudioViewModel.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Platform/Desktop/SystemAccess.h"
#include "Services/AudioCaptureService.h"
#include "Services/WebSocketService.h"

#include <QPointer>

namespace corvane {

namespace {

constexpr quint8 systemAudioFlag = 0x01;

} // namespace

SystemAudioViewModel::SystemAudioViewModel(AudioCaptureService& audioCapture, WebSocketService& webSocket,
                                           platform::SystemAccess& systemAccess)
    : m_audioCapture(audioCapture)
    , m_webSocket(webSocket)
    , m_systemAccess(systemAccess) {
    setupSubscriptions();
}

SystemAudioViewModel::~SystemAudioViewModel() {
    for (const auto& subscription : m_cancellables) {
        disconnect(subscription);
    }
}

void SystemAudioViewModel::setupSubscriptions() {
    const auto follow = [this] {
        const bool isCapturing = m_audioCapture.isCapturing();
        if (std::exchange(m_isCapturing, isCapturing) != isCapturing) {
            Q_EMIT isCapturingChanged();
        }
    };
    follow();
    m_cancellables.append(connect(&m_audioCapture, &AudioCaptureService::isCapturingChanged, this, follow));

    // This is emitted on the audio thread, while this object may be going away. So the context is the
    // service, which waits for its threads, and this object is used on the main thread only. The owner of a
    // chunk is determined when it is made, so that a chunk that an interview has sent is not sent again after
    // its end.
    m_cancellables.append(connect(
        &m_audioCapture, &AudioCaptureService::speechDetected, &m_audioCapture,
        [self = QPointer(this), owned = m_interviewOwnsAudio](const QByteArray& wav) {
            if (*owned) {
                return;
            }
            platform::dispatchToMain([self, wav] {
                if (self && !self->interviewOwnsAudio()) {
                    self->handleSpeechDetected(wav);
                }
            });
        },
        Qt::DirectConnection));

    m_cancellables.append(
        connect(&m_audioCapture, &AudioCaptureService::recordingProgress, this, [this](int seconds) {
            if (std::exchange(m_recordingElapsed, seconds) != seconds) {
                Q_EMIT recordingElapsedChanged();
            }
        }));
}

void SystemAudioViewModel::handleSpeechDetected(const QByteArray& wav) {
    platform::startTask(sendUtterance(wav), "SystemAudioViewModel.sendUtterance");
}

QCoro::Task<void> SystemAudioViewModel::sendUtterance(QByteArray wav) {
    try {
        co_await m_webSocket.sendBinary(std::move(wav), systemAudioFlag);
    } catch (const platform::OperationCancelled&) {
    } catch (const std::exception& error) {
        platform::logLine(
            QStringLiteral("[SystemAudio] sendBinary failed: %1").arg(platform::errorText(error)));
    }
}

void SystemAudioViewModel::startCapture() {
    platform::startTask(runStart(), "SystemAudioViewModel.startCapture");
}

QCoro::Task<void> SystemAudioViewModel::runStart() {
    const auto ticket = m_scope.ticket();
    const bool granted = co_await m_audioCapture.checkPermission();
    ticket.ensureCurrent();
    if (std::exchange(m_permissionGranted, granted) != granted) {
        Q_EMIT permissionGrantedChanged();
    }
    if (!granted) {
        m_systemAccess.open(
            QStringLiteral("x-apple.systempreferences:com.apple.preference.security?Privacy_ScreenCapture"));
        co_return;
    }
    QString failure;
    try {
        co_await m_audioCapture.startCapture(AudioCaptureMode::vad, interviewVadConfig);
        co_return;
    } catch (const platform::OperationCancelled&) {
        // The user has stopped the capture in the meantime.
        throw;
    } catch (const std::exception& error) {
        failure = platform::errorText(error);
    }
    ticket.ensureCurrent();
    if (m_error != failure) {
        m_error = failure;
        Q_EMIT errorChanged();
    }
}

} // namespace corvane
