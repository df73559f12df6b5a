#include "benchmarks/soak/SentSound.h"

#include <algorithm>

namespace {

// The time from handing over a frame to its arrival, on a busy machine.
constexpr std::chrono::milliseconds travelTime{1000};
// The number of frames in a minute or two; a longer list simply grows.
constexpr size_t usualFrames = 32 * 1024;

} // namespace

// Forwards everything, and records the frames in the order in which they are sent.
class SentSound::Task : public platform::WebSocketTask {
public:
    Task(std::unique_ptr<platform::WebSocketTask> inner, SentSound& owner)
        : m_inner(std::move(inner))
        , m_owner(owner) {
        connect(m_inner.get(), &WebSocketTask::opened, this, &WebSocketTask::opened);
        connect(m_inner.get(), &WebSocketTask::closed, this, &WebSocketTask::closed);
        connect(m_inner.get(), &WebSocketTask::completed, this, &WebSocketTask::completed);
    }

    int identifier() const override { return m_inner->identifier(); }
    void resume() override { m_inner->resume(); }
    void cancel(int closeCode) override { m_inner->cancel(closeCode); }
    void send(Payload kind, QByteArray payload, DoneHandler done) override {
        const std::lock_guard lock(m_owner.m_mutex);
        if (kind == Payload::binary) {
            if (!m_link) {
                m_link = m_owner.m_links.emplace_back(std::make_shared<Link>());
                m_link->frames.reserve(usualFrames);
            }
            m_link->checksum.process_bytes(payload.constData(), static_cast<size_t>(payload.size()));
            m_link->frames.push_back({m_link->checksum.checksum(), std::chrono::steady_clock::now()});
        }
        m_inner->send(kind, std::move(payload), std::move(done));
    }
    void receive(ReceiveHandler handler) override { m_inner->receive(std::move(handler)); }
    void sendPing(DoneHandler pong) override { m_inner->sendPing(std::move(pong)); }
    void readHealth(HealthHandler handler) override { m_inner->readHealth(std::move(handler)); }
    int httpStatus() const override { return m_inner->httpStatus(); }

private:
    std::unique_ptr<platform::WebSocketTask> m_inner;
    SentSound& m_owner;
    std::shared_ptr<Link> m_link;
};

class SentSound::Factory : public platform::WebSocketFactory {
public:
    Factory(std::unique_ptr<platform::WebSocketFactory> inner, SentSound& owner)
        : m_inner(std::move(inner))
        , m_owner(owner) {}

    std::unique_ptr<platform::WebSocketTask> makeTask(QUrl url, qint64 maxMessageBytes) override {
        return std::make_unique<Task>(m_inner->makeTask(std::move(url), maxMessageBytes), m_owner);
    }

private:
    std::unique_ptr<platform::WebSocketFactory> m_inner;
    SentSound& m_owner;
};

std::unique_ptr<platform::WebSocketFactory>
SentSound::recorded(std::unique_ptr<platform::WebSocketFactory> inner) {
    return std::make_unique<Factory>(std::move(inner), *this);
}

SentSound::Verdict SentSound::judge(const std::vector<Received>& links, Time broken, bool isOver) {
    const std::lock_guard lock(m_mutex);
    Verdict verdict;
    for (size_t i = 0; i < links.size(); ++i) {
        const auto& received = links[i];
        const bool isInUse = !isOver && i + 1 == links.size();
        if (received.frames == 0) {
            continue;
        }
        const auto found = linkThatSent(received);
        if (found == m_links.size()) {
            verdict.complaint = QStringLiteral("the %1 frames that came over a link are not what was sent")
                                    .arg(received.frames);
            return verdict;
        }
        // Nothing that the links before it were given has arrived.
        for (size_t skipped = 0; skipped < found; ++skipped) {
            loseRest(*m_links.front(), 0, broken, verdict);
            m_links.pop_front();
        }
        auto& link = *m_links.front();
        verdict.received += received.frames - link.judged;
        link.judged = static_cast<size_t>(received.frames);
        if (!isInUse) {
            loseRest(link, link.judged, broken, verdict);
            m_links.pop_front();
        }
    }
    return verdict;
}

// Returns the index of the link, or the size of the list if none matches.
size_t SentSound::linkThatSent(const Received& received) const {
    const auto sent = std::ranges::find_if(m_links, [&](const std::shared_ptr<Link>& link) {
        return link->frames.size() >= received.frames &&
               link->frames[static_cast<size_t>(received.frames) - 1].checksum == received.checksum;
    });
    return static_cast<size_t>(sent - m_links.begin());
}

void SentSound::loseRest(const Link& link, size_t received, Time broken, Verdict& verdict) const {
    const auto early =
        std::count_if(link.frames.begin() + static_cast<std::ptrdiff_t>(received), link.frames.end(),
                      [&](const Frame& frame) { return frame.at < broken - travelTime; });
    if (early > 0) {
        verdict.complaint =
            QStringLiteral("%1 frames that were sent before the link broke never came").arg(early);
    }
    verdict.lost += link.frames.size() - received;
}

void SentSound::forget() {
    const std::lock_guard lock(m_mutex);
    m_links.clear();
}

quint64 SentSound::framesOfNewest() const {
    const std::lock_guard lock(m_mutex);
    return m_links.empty() ? 0 : m_links.back()->frames.size();
}
