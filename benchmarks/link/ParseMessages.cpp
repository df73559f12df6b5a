// From a server message on the socket to its event, compared with parsing the same text alone.

#include "tests/Services/Link/LinkFixture.h"

#include <boost/json/parse.hpp>

#include <QJsonDocument>

#include <benchmark/benchmark.h>

using namespace corvane;

namespace {

// The number of messages that one turn of the event loop finds waiting.
constexpr int batch = 64;

// A chat_chunk of exactly `size` bytes: prose with a line break every 80 characters.
QByteArray chatChunk(qsizetype size) {
    const QByteArray head = R"({"type":"chat_chunk","text":")";
    const QByteArray tail = R"("})";
    const QByteArray sentence = "Ask how they would find a memory leak in production, and what they tried. ";
    QByteArray text;
    while (text.size() < size - head.size() - tail.size()) {
        text += text.size() % 80 > 70 ? QByteArray("\\n- ") : sentence.left(60);
    }
    text.truncate(size - head.size() - tail.size());
    while (text.endsWith('\\')) {
        text.back() = '.';
    }
    return head + text + tail;
}

void perMessage(benchmark::State& state, int messagesPerIteration) {
    state.SetItemsProcessed(state.iterations() * messagesPerIteration);
    state.SetBytesProcessed(state.iterations() * messagesPerIteration * state.range(0));
}

void receivedToEvent(benchmark::State& state) {
    LinkFixture link;
    link.open();
    // Log lines are made, as in the program, but discarded.
    platform::setLogHandler([](platform::LogSink, const QString&) {});
    qint64 events = 0;
    qint64 characters = 0;
    QObject::connect(link.service.get(), &WebSocketService::chatChunk, link.service.get(),
                     [&](const QString& text) {
                         ++events;
                         characters += text.size();
                     });
    const auto frame = chatChunk(state.range(0));
    for (auto _ : state) {
        for (int i = 0; i < batch; ++i) {
            link.sockets.last().sendText(frame);
        }
        QCoreApplication::processEvents();
    }
    benchmark::DoNotOptimize(characters);
    if (events != state.iterations() * batch) {
        state.SkipWithError("messages were lost");
    }
    perMessage(state, batch);
}

void parsedByBoost(benchmark::State& state) {
    const auto frame = chatChunk(state.range(0));
    for (auto _ : state) {
        auto document = boost::json::parse({frame.constData(), static_cast<size_t>(frame.size())});
        benchmark::DoNotOptimize(document);
    }
    perMessage(state, 1);
}

void parsedByQt(benchmark::State& state) {
    const auto frame = chatChunk(state.range(0));
    for (auto _ : state) {
        auto document = QJsonDocument::fromJson(frame);
        benchmark::DoNotOptimize(document);
    }
    perMessage(state, 1);
}

BENCHMARK(receivedToEvent)->Arg(200)->Arg(64 * 1024);
BENCHMARK(parsedByBoost)->Arg(200)->Arg(64 * 1024);
BENCHMARK(parsedByQt)->Arg(200)->Arg(64 * 1024);

} // namespace
