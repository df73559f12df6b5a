#pragma once

#include "Platform/Core/OperationScope.h"
#include "Platform/Network/HttpClient.h"

#include <QCoroTask>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkCookieJar>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QPointer>
#include <QTimer>

#include <functional>

namespace platform {

// One request from start to response, on a network manager of its own, so that nothing is left over from an
// earlier request: a kept-alive connection that has died since, cached credentials or a cached proxy.
class HttpExchange : public QObject {
    Q_OBJECT

public:
    // If `cookies` is null, no cookie is kept or sent. Without a `sink` the body is part of the response.
    HttpExchange(HttpRequest request, HttpClient::BodySink sink, QNetworkCookieJar* cookies, QObject* parent);
    // If no response has arrived, the awaiting coroutine gets OperationCancelled, from the event loop.
    ~HttpExchange() override;

    // Resolved once, from the event loop, after which the exchange deletes itself.
    const Completion<HttpResponse>& completion() const { return m_completion; }

private:
    QNetworkRequest networkRequest(bool withCookies) const;
    void start(QNetworkCookieJar* cookies);
    QCoro::Task<void> begin(QPointer<QNetworkCookieJar> cookies);
    QNetworkReply* send(bool withCookies);
    void takeBody();
    bool wantsBody();
    void scheduleDelivery();
    void deliver();
    void finish();
    void fail(const HttpError& error);
    // Resumes the awaiting coroutine from the event loop: it may destroy the client, which must not happen
    // inside a signal of the reply.
    void settle(std::function<void(const Completion<HttpResponse>&)> outcome);
    HttpResponse response() const;

    HttpRequest m_request;
    HttpClient::BodySink m_sink;
    QNetworkProxy m_proxy = QNetworkProxy::NoProxy;
    QNetworkAccessManager m_manager;
    QPointer<QNetworkReply> m_reply;
    QTimer m_deadline;
    QTimer m_delivery;
    QElapsedTimer m_sinceDelivery;
    QByteArray m_body; // with a sink, what it has not received yet
    QList<QSslError> m_sslErrors;
    Completion<HttpResponse> m_completion;
    OperationScope m_scope;
    bool m_headChecked = false;
    bool m_settled = false;
};

} // namespace platform
