#include "FakeHttpClient.h"

#include <QCoreApplication>

using platform::HttpError;
using platform::HttpResponse;

FakeHttpClient::~FakeHttpClient() {
    for (const auto& pending : std::exchange(m_pending, {})) {
        pending.completion.fail(
            HttpError(HttpError::Kind::connectionLost, QStringLiteral("connection lost")));
    }
}

QCoro::Task<HttpResponse> FakeHttpClient::execute(platform::HttpRequest request) {
    m_requests.append(request);
    platform::Completion<HttpResponse> completion;
    Pending pending{completion, nextAnswer(request)};
    if (m_held) {
        m_pending.push_back(std::move(pending));
    } else {
        deliver(std::move(pending));
    }
    auto response = co_await std::move(completion);
    if (response.url.isEmpty()) {
        response.url = request.url;
    }
    co_return response;
}

void FakeHttpClient::answer(int status, QByteArray body, QList<platform::HttpHeader> headers) {
    m_script.push_back(response(status, std::move(body), std::move(headers)));
}

void FakeHttpClient::fail(HttpError::Kind kind) {
    m_script.push_back(HttpError(kind, QStringLiteral("scripted failure")));
}

FakeHttpClient::Answer FakeHttpClient::response(int status, QByteArray body,
                                                QList<platform::HttpHeader> headers) {
    return HttpResponse{status, {}, std::move(headers), std::move(body)};
}

void FakeHttpClient::setHeld(bool held) {
    m_held = held;
    while (!m_held && !m_pending.empty()) {
        release();
    }
}

void FakeHttpClient::release(int index) {
    const auto position = m_pending.begin() + index;
    auto pending = std::move(*position);
    m_pending.erase(position);
    deliver(std::move(pending));
}

FakeHttpClient::Answer FakeHttpClient::nextAnswer(const platform::HttpRequest& request) {
    if (!m_script.empty()) {
        auto next = std::move(m_script.front());
        m_script.pop_front();
        return next;
    }
    if (m_handler) {
        return m_handler(request);
    }
    return HttpError(HttpError::Kind::other, QStringLiteral("no answer was scripted"));
}

void FakeHttpClient::deliver(Pending pending) {
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [pending = std::move(pending)] {
            if (const auto* error = std::get_if<HttpError>(&pending.answer)) {
                pending.completion.fail(*error);
            } else {
                pending.completion.resolve(std::get<HttpResponse>(pending.answer));
            }
        },
        Qt::QueuedConnection);
}

std::optional<QByteArray> headerOf(const platform::HttpRequest& request, const QByteArray& name) {
    const auto found = std::ranges::find_if(request.headers, [&](const platform::HttpHeader& header) {
        return header.name.compare(name, Qt::CaseInsensitive) == 0;
    });
    return found == request.headers.end() ? std::nullopt : std::optional(found->value);
}
