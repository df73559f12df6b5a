#pragma once

#include "Platform/Core/Completion.h"
#include "Platform/Core/OperationScope.h"
#include "Platform/Network/HttpConversation.h"

#include <QCoroTask>
#include <QElapsedTimer>
#include <QNetworkCookieJar>
#include <QPointer>
#include <QTimer>

#include <functional>

namespace platform {

// One request from start to response, on a connection of its own, so that nothing is left over from an
// earlier request: a kept-alive connection that has died since, cached credentials or a cached proxy. It is
// sent only once, because the server may have acted on it. Main thread.
class HttpExchange : public QObject {
    Q_OBJECT

public:
    // If `cookies` is null, no cookie is kept or sent. Without a `sink` the body is part of the response.
    HttpExchange(NetworkThread& thread, HttpRequest request, HttpClient::BodySink sink,
                 QNetworkCookieJar* cookies, QObject* parent);
    // If no response has arrived, the awaiting coroutine gets OperationCancelled, from the event loop.
    ~HttpExchange() override;

    // Resolved once, from the event loop, after which the exchange deletes itself.
    const Completion<HttpResponse>& completion() const { return m_completion; }

private:
    void startTimers();
    QCoro::Task<void> begin();
    QByteArray head(const ConnectPlan& plan) const;
    QList<HttpHeader> headers(const ConnectPlan& plan) const;
    void takeHead(HttpResponse answer);
    void keepCookies();
    void takePiece(const QByteArray& piece);
    void scheduleDelivery();
    void deliver();
    void finish();
    void fail(const HttpError& error);
    // Resumes the awaiting coroutine from the event loop: it may destroy the client.
    void settle(std::function<void(const Completion<HttpResponse>&)> outcome);

    NetworkThread& m_thread;
    HttpRequest m_request;
    HttpClient::BodySink m_sink;
    QPointer<QNetworkCookieJar> m_cookies;
    std::shared_ptr<HttpConversation> m_conversation;
    QTimer m_deadline;
    QTimer m_delivery;
    QElapsedTimer m_sinceDelivery;
    HttpResponse m_answer; // with a sink: its body is what the sink has not received yet
    Completion<HttpResponse> m_completion;
    OperationScope m_scope;
    bool m_settled = false;
};

} // namespace platform
