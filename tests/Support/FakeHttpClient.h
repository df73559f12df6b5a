#pragma once

#include "Platform/Core/Completion.h"
#include "Platform/Network/HttpClient.h"

#include <QCoreApplication>

#include <deque>
#include <functional>
#include <variant>

// An HTTP session without a network. Every request is recorded and takes the next scripted answer, or the
// handler's when the script is empty, or fails when there is neither. Like the real one it never answers
// before the caller is back in the event loop.
class FakeHttpClient : public platform::HttpClient {
public:
    using Answer = std::variant<platform::HttpResponse, platform::HttpError>;
    using Handler = std::function<Answer(const platform::HttpRequest&)>;

    // What still waits fails with connectionLost.
    ~FakeHttpClient() override {
        for (const auto& pending : std::exchange(m_pending, {})) {
            pending.completion.fail(error(platform::HttpError::Kind::connectionLost));
        }
    }

    QCoro::Task<platform::HttpResponse> execute(platform::HttpRequest request) override {
        m_requests.append(request);
        platform::Completion<platform::HttpResponse> completion;
        m_pending.push_back({completion, nextAnswer(request)});
        if (!m_held) {
            release(heldCount() - 1);
        }
        auto response = co_await std::move(completion);
        if (response.url.isEmpty()) {
            response.url = request.url;
        }
        co_return response;
    }

    // The answer's body reaches the sink in one piece.
    QCoro::Task<platform::HttpResponse> stream(platform::HttpRequest request, BodySink sink) override {
        const auto wantsBody = request.wantsBody;
        auto response = co_await execute(std::move(request));
        const auto body = std::exchange(response.body, {});
        if (!wantsBody || wantsBody(response)) {
            sink(body);
        }
        co_return response;
    }

    // Appends to the script.
    void answer(int status, QByteArray body = {}, QList<platform::HttpHeader> headers = {}) {
        m_script.push_back(response(status, std::move(body), std::move(headers)));
    }
    void fail(platform::HttpError::Kind kind) { m_script.push_back(error(kind)); }
    // For an Answer of a handler.
    static Answer response(int status, QByteArray body = {}, QList<platform::HttpHeader> headers = {}) {
        return platform::HttpResponse{status, {}, std::move(headers), std::move(body)};
    }
    void setHandler(Handler handler) { m_handler = std::move(handler); }

    // While held, requests take their answers but do not get them before release(). Ending the hold releases
    // them all.
    void setHeld(bool held) {
        m_held = held;
        while (!m_held && !m_pending.empty()) {
            release();
        }
    }
    // The held request at `index`, the oldest being 0.
    void release(int index = 0) {
        const auto position = m_pending.begin() + index;
        const auto deliver = [pending = std::move(*position)] {
            if (const auto* failure = std::get_if<platform::HttpError>(&pending.answer)) {
                pending.completion.fail(*failure);
            } else {
                pending.completion.resolve(std::get<platform::HttpResponse>(pending.answer));
            }
        };
        m_pending.erase(position);
        QMetaObject::invokeMethod(QCoreApplication::instance(), deliver, Qt::QueuedConnection);
    }
    int heldCount() const { return static_cast<int>(m_pending.size()); }

    const QList<platform::HttpRequest>& requests() const { return m_requests; }
    void clearRequests() { m_requests.clear(); }

private:
    struct Pending {
        platform::Completion<platform::HttpResponse> completion;
        Answer answer;
    };

    static platform::HttpError error(platform::HttpError::Kind kind) { return {kind, "scripted failure"}; }

    Answer nextAnswer(const platform::HttpRequest& request) {
        if (m_script.empty()) {
            return m_handler ? m_handler(request) : error(platform::HttpError::Kind::other);
        }
        auto next = std::move(m_script.front());
        m_script.pop_front();
        return next;
    }

    std::deque<Answer> m_script;
    Handler m_handler;
    std::deque<Pending> m_pending;
    QList<platform::HttpRequest> m_requests;
    bool m_held = false;
};

// The first header of that name in a request, case-insensitive.
inline std::optional<QByteArray> headerOf(const platform::HttpRequest& request, const QByteArray& name) {
    platform::HttpResponse response;
    response.headers = request.headers;
    return response.header(name);
}
