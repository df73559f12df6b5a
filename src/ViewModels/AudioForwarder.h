#pragma once

#include <QByteArray>
#include <QObject>

#include <functional>
#include <memory>

namespace corvane {

class AudioCaptureService;
class WebSocketService;

// Sends each captured chunk to the backend at once, tagged with its stream, for as long as this object lives.
// Nothing is stored or sent again. Microphone chunks are sent on the thread that captures them, so that a
// busy main thread does not delay them.
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

    // Return the number of chunks that have been passed to the link so far.
    int micSendCount() const;
    int systemSendCount() const;

private:
    struct Stream;

    std::shared_ptr<Stream> m_microphone;
    std::shared_ptr<Stream> m_system;
    QMetaObject::Connection m_micStreamCancellable;
    QMetaObject::Connection m_systemStreamCancellable;
    QMetaObject::Connection m_vadStopCancellable;
    QMetaObject::Connection m_vadStartCancellable;
    // The context of the subscriptions. Speech events that are still queued when the forwarding ends are
    // dropped with it.
    std::unique_ptr<QObject> m_context;
};

} // namespace corvane
