#pragma once

#include "Completion.h"
#include "HttpClient.h"

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
    ~FakeHttpClient() override;

    QCoro::Task<platform::HttpResponse> execute(platform::HttpRequest request) override;

    // Appends to the script.
    void answer(int status, QByteArray body = {}, QList<platform::HttpHeader> headers = {});
    void fail(platform::HttpError::Kind kind);
    // For an Answer of a handler.
    static Answer response(int status, QByteArray body = {}, QList<platform::HttpHeader> headers = {});
    void setHandler(Handler handler) { m_handler = std::move(handler); }

    // While held, requests take their answers but do not get them before release(). Ending the hold releases
    // them all.
    void setHeld(bool held);
    // The held request at `index`, the oldest being 0.
    void release(int index = 0);
    int heldCount() const { return static_cast<int>(m_pending.size()); }

    const QList<platform::HttpRequest>& requests() const { return m_requests; }
    void clearRequests() { m_requests.clear(); }

private:
    struct Pending {
        platform::Completion<platform::HttpResponse> completion;
        Answer answer;
    };

    Answer nextAnswer(const platform::HttpRequest& request);
    static void deliver(Pending pending);

    std::deque<Answer> m_script;
    Handler m_handler;
    std::deque<Pending> m_pending;
    QList<platform::HttpRequest> m_requests;
    bool m_held = false;
};

// The first header of that name in a request, case-insensitive.
std::optional<QByteArray> headerOf(const platform::HttpRequest& request, const QByteArray& name);
