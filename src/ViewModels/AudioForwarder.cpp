#include "ViewModels/AudioForwarder.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Services/AudioCaptureService.h"
#include "Services/WebSocketService.h"

#include <atomic>

namespace corvane {

// One stream's count and words. Shared with the sends under way, which may outlive the forwarding.
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

    // At the low rate of one line in a hundred chunks, since a link that is down fails every chunk.
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
    // Direct: each handler runs where the stream emits.
    m_connections[0] = QObject::connect(source, &AudioCaptureService::micAudioDetected, m_context.get(),
                                        forward(m_microphone), Qt::DirectConnection);
    m_connections[1] = QObject::connect(source, &AudioCaptureService::speechDetected, m_context.get(),
                                        forward(m_system), Qt::DirectConnection);
    // The modes that decide about a stop belong to the main thread, so the marks hop there.
    m_connections[2] = QObject::connect(source, &AudioCaptureService::candidateSpeechStopped, m_context.get(),
                                        std::move(speech.stopped), Qt::QueuedConnection);
    m_connections[3] = QObject::connect(source, &AudioCaptureService::candidateSpeechStarted, m_context.get(),
                                        std::move(speech.started), Qt::QueuedConnection);
}

AudioForwarder::~AudioForwarder() {
    for (const auto& connection : m_connections) {
        QObject::disconnect(connection);
    }
}

int AudioForwarder::micSendCount() const {
    return m_microphone->count.load();
}

int AudioForwarder::systemSendCount() const {
    return m_system->count.load();
}

} // namespace corvane
