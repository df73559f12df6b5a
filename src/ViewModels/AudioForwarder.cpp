#include "ViewModels/AudioForwarder.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Services/AudioCaptureService.h"
#include "Services/WebSocketService.h"

#include <atomic>

namespace corvane {

// The number of chunks and the log lines of one stream. The sends under way share it, as they may outlive the
// forwarding.
struct AudioForwarder::Stream {
    quint8 flag;
    const char* chunkLine;
    const char* failureLine;
    std::atomic<int> count{0};

    void logChunk(int n, qsizetype size) const {
        if (n < 4 || n % 100 == 0) {
            platform::logLine(QString::fromLatin1(chunkLine).arg(n).arg(size));
        }
    }

    // Logs one failure in a hundred chunks, since every chunk fails while the link is down.
    void logFailure(const std::exception_ptr& error) const {
        if (count.load() % 100 == 1) {
            platform::logLine(QString::fromLatin1(failureLine).arg(platform::errorText(error)));
        }
    }
};

AudioForwarder::AudioForwarder(AudioCaptureService& audioCapture, WebSocketService& webSocket,
                               SpeechHandlers speech)
    : m_microphone(new Stream{0x00, "[Interview] Mic chunk #%1 (%2 bytes, flag=0x00)",
                              "[Interview] mic sendBinary failed: %1"})
    , m_system(new Stream{0x01, "[Interview] System chunk #%1 (%2 bytes, flag=0x01)",
                          "[Interview] system sendBinary failed: %1"})
    , m_context(std::make_unique<QObject>()) {
    const auto forward = [&webSocket](std::shared_ptr<Stream> stream) {
        return [&webSocket, stream = std::move(stream)](const QByteArray& chunk) {
            stream->logChunk(++stream->count, chunk.size());
            webSocket.sendBinary(chunk, stream->flag, [stream](const std::exception_ptr& error) {
                if (error) {
                    stream->logFailure(error);
                }
            });
        };
    };
    auto* source = &audioCapture;
    // Direct connections: each handler runs on the thread that emits the signal.
    m_micStreamCancellable = QObject::connect(source, &AudioCaptureService::micAudioDetected, m_context.get(),
                                              forward(m_microphone), Qt::DirectConnection);
    m_systemStreamCancellable = QObject::connect(source, &AudioCaptureService::speechDetected,
                                                 m_context.get(), forward(m_system), Qt::DirectConnection);
    // Whether a stop is sent depends on the interview's modes, which belong to the main thread, so these
    // events are queued to it.
    m_vadStopCancellable = QObject::connect(source, &AudioCaptureService::candidateSpeechStopped,
                                            m_context.get(), std::move(speech.stopped), Qt::QueuedConnection);
    m_vadStartCancellable =
        QObject::connect(source, &AudioCaptureService::candidateSpeechStarted, m_context.get(),
                         std::move(speech.started), Qt::QueuedConnection);
}

AudioForwarder::~AudioForwarder() {
    QObject::disconnect(m_micStreamCancellable);
    QObject::disconnect(m_systemStreamCancellable);
    QObject::disconnect(m_vadStopCancellable);
    QObject::disconnect(m_vadStartCancellable);
}

int AudioForwarder::micSendCount() const {
    return m_microphone->count.load();
}

int AudioForwarder::systemSendCount() const {
    return m_system->count.load();
}

} // namespace corvane
