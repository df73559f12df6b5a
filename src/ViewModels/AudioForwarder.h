#pragma once

#include <QByteArray>
#include <QObject>

#include <functional>
#include <memory>

namespace corvane {

class AudioCaptureService;
class WebSocketService;

// Sends each captured chunk to the backend as it comes, tagged with its stream, while it lives. Nothing is
// kept or repeated. Chunks of the microphone go out on the thread that captures them, so that a busy main
// thread delays none.
class AudioForwarder {
public:
    struct SpeechHandlers {
        std::function<void()> started;       // main thread
        std::function<void(qint64)> stopped; // main thread; ms since the Unix epoch
    };

    AudioForwarder(AudioCaptureService& audioCapture, WebSocketService& webSocket, SpeechHandlers speech);
    ~AudioForwarder();
    AudioForwarder(const AudioForwarder&) = delete;
    AudioForwarder& operator=(const AudioForwarder&) = delete;

    // Chunks handed to sending so far.
    int micSendCount() const;
    int systemSendCount() const;

private:
    struct Stream;

    std::shared_ptr<Stream> m_microphone;
    std::shared_ptr<Stream> m_system;
    QMetaObject::Connection m_connections[4];
    // Queued speech events of an ended forwarding find this gone.
    std::unique_ptr<QObject> m_context;
};

} // namespace corvane
