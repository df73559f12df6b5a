// Frames of the popover while 200 pieces of an assessment a second are appended to a text of 10 KB or of 100
// KB: the work of the main thread for each frame and for each piece. The software renderer draws, as in the
// program.
//   StreamingFrames [seconds]
#include "benchmarks/Figures.h"
#include "benchmarks/PopoverWindow.h"
#include "tests/Support/TestProgram.h"

#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimer>

#include <algorithm>
#include <cstdio>

using namespace corvane;

namespace {

using namespace std::chrono_literals;

constexpr auto chunkInterval = 5ms;
constexpr double frameLimit = 16.7; // ms

// Generates prose with inline markdown like that of an assessment: sentences, line breaks and an occasional
// empty line.
class Prose {
public:
    enum class Layout { lines, oneLine };

    explicit Prose(Layout layout)
        : m_layout(layout) {}

    QString next(int words) {
        static const QStringList vocabulary{"the",      "candidate",   "explains", "**trade-offs**",
                                            "between",  "latency",     "and",      "throughput,",
                                            "*calmly*", "asks",        "about",    "`p99`",
                                            "figures",  "[here](a.b)", "then",     "answers."};
        QString text;
        for (int i = 0; i < words; ++i, ++m_count) {
            text += vocabulary.at((m_count * 7 + m_count / 16) % vocabulary.size());
            const bool breaks = m_layout == Layout::lines && m_count % 40 == 39;
            text += !breaks ? " " : m_count % 120 == 119 ? "\n\n" : "\n";
        }
        return text;
    }

private:
    Layout m_layout;
    int m_count = 0;
};

// The view in its own window. Measures how long the main thread works between two frames, and how long it
// takes to draw them.
class Stage : public PopoverWindow {
public:
    explicit Stage(ResponsePopoverPresenter& presenter)
        : PopoverWindow(presenter) {
        connect(this, &QQuickWindow::frameSwapped, this, [this] {
            const auto now = threadTime();
            frames.push_back(now - m_lastFrame);
            m_lastFrame = now;
        });
    }

    void clear() {
        frames.clear();
        drawing = 0;
        start = m_lastFrame = threadTime();
    }

    std::vector<double> frames; // ms of work for each
    double drawing = 0;         // ms
    double start = 0;           // processor time

protected:
    bool event(QEvent* event) override {
        if (event->type() != QEvent::UpdateRequest) {
            return PopoverWindow::event(event);
        }
        const auto before = threadTime();
        const bool done = PopoverWindow::event(event);
        drawing += threadTime() - before;
        return done;
    }

private:
    double m_lastFrame = 0;
};

QByteArray chunk(const QString& text) {
    return QJsonDocument(QJsonObject{{"type", "assessment_chunk"}, {"text", text}})
        .toJson(QJsonDocument::Compact);
}

void rest(std::chrono::milliseconds time) {
    QEventLoop loop;
    QTimer::singleShot(time, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

bool measure(const char* name, Prose::Layout layout, qsizetype size, std::chrono::seconds time) {
    TestProgram program;
    program.launchToSession();
    ResponsePopoverPresenter presenter(program.completion(), program.interview(),
                                       program.app->settingsViewModel(), *program.access);
    Stage stage(presenter);
    Prose prose(layout);
    while (program.completion().assessmentText().size() < size) {
        program.serverSays(chunk(prose.next(400)));
    }
    rest(2s);

    stage.clear();
    int chunks = 0;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [&] {
        program.peer().sendText(chunk(prose.next(1)));
        ++chunks;
    });
    timer.start(chunkInterval);
    rest(time);
    timer.stop();

    const auto busy = threadTime() - stage.start;
    const auto p99 = percentile(stage.frames, 0.99);
    std::printf("%-9s %4lld KB %6zu frames   p50 %5.2f  p99 %5.2f  worst %5.2f ms   a piece: %.3f ms + "
                "drawing %.3f ms\n",
                name, static_cast<long long>(size / 1024), stage.frames.size(), percentile(stage.frames, 0.5),
                p99, percentile(stage.frames, 1), (busy - stage.drawing) / chunks, stage.drawing / chunks);
    std::fflush(stdout);
    return p99 < frameLimit;
}

} // namespace

int main(int argc, char** argv) {
    PopoverWindow::chooseRenderer();
    QGuiApplication application(argc, argv);
    platform::setLogHandler([](platform::LogSink, const QString&) {});
    const std::chrono::seconds time(argc > 1 ? std::max(1, QByteArray(argv[1]).toInt()) : 10);
    bool smooth = true;
    for (const qsizetype size : {10 * 1024, 100 * 1024}) {
        smooth = measure("lines", Prose::Layout::lines, size, time) && smooth;
        smooth = measure("one line", Prose::Layout::oneLine, size, time) && smooth;
    }
    return smooth ? 0 : 1;
}
