// Messages of the server of 4 MB and of the longest that is accepted, in one line and in many parts: how long
// the main thread works without coming back to its event loop, from the message until all is quiet, and when
// the popover is shown again. The software renderer draws, as in the program.
#include "benchmarks/Figures.h"
#include "benchmarks/PopoverWindow.h"
#include "tests/Support/TestProgram.h"

#include <QGuiApplication>
#include <QTimer>

#include <cstdio>

using namespace corvane;

namespace {

using namespace std::chrono_literals;

constexpr double awayLimit = 100; // ms
constexpr qsizetype megabyte = 1024 * 1024;
constexpr qsizetype longest = 16 * megabyte;

QByteArray wordsOf(qsizetype size) {
    const QByteArray words =
        "the **candidate** explains trade-offs between latency and `throughput`, calmly. ";
    return words.repeated(size / words.size());
}

QByteArray oneLine(const QByteArray& head, const QByteArray& tail, qsizetype size) {
    return head + wordsOf(size - head.size() - tail.size()) + tail;
}

QByteArray parts(const QByteArray& head, const QByteArray& part, const QByteArray& tail, qsizetype size) {
    const auto count = (size - head.size() - tail.size()) / (part.size() + 1);
    return head + (part + ',').repeated(count - 1) + part + tail;
}

struct Kind {
    const char* name;
    QByteArray (*message)(qsizetype size);
};

const QByteArray question =
    R"({"question":"How would they find a memory leak?","justification":"It shows care."})";

constexpr std::array kinds{
    Kind{"a reply in one line",
         [](qsizetype size) { return oneLine(R"({"type":"chat_chunk","text":")", R"("})", size); }},
    Kind{"an assessment in one line",
         [](qsizetype size) { return oneLine(R"({"type":"assessment_chunk","text":")", R"("})", size); }},
    Kind{"a question in one line",
         [](qsizetype size) {
             return oneLine(R"({"type":"chat_questions","questions":{"Design":[{"question":")", R"("}]}})",
                            size);
         }},
    Kind{"many questions",
         [](qsizetype size) {
             return parts(R"({"type":"chat_questions","questions":{"Design":[)", question, "]}}", size);
         }},
    Kind{"a plan of many topics",
         [](qsizetype size) {
             QByteArray message = R"({"type":"chat_interview_plan","plan":{)";
             for (int topic = 0; message.size() < size - 200; ++topic) {
                 message += '"' + QByteArray::number(topic) + "\":[" + question + "],";
             }
             message.chop(1);
             return message + "}}";
         }},
    Kind{"many values that nobody reads",
         [](qsizetype size) { return parts(R"({"type":"audio_ack","values":[)", "1", "]}", size); }},
    Kind{"an error in one line",
         [](qsizetype size) { return oneLine(R"({"type":"error","message":")", R"("})", size); }},
};

// The longest time that the main thread worked between two ticks of a timer of 1 ms, in ms of its processor
// time: what else the machine does is not counted.
class Watch {
public:
    Watch() {
        QObject::connect(&m_tick, &QTimer::timeout, &m_tick, [this] { note(); });
        m_tick.start(1);
    }

    // Until nothing has been done for a while.
    double longestUntilQuiet() {
        m_longest = 0;
        m_last = threadTime();
        for (int quiet = 0; quiet < 10;) {
            const auto before = threadTime();
            QEventLoop loop;
            QTimer::singleShot(50ms, &loop, &QEventLoop::quit);
            loop.exec();
            quiet = threadTime() - before < 25 ? quiet + 1 : 0;
        }
        return m_longest;
    }

private:
    void note() {
        const auto now = threadTime();
        m_longest = std::max(m_longest, now - std::exchange(m_last, now));
    }

    QTimer m_tick;
    double m_last = threadTime();
    double m_longest = 0;
};

bool measure(const Kind& kind, qsizetype size) {
    TestProgram program;
    program.launchToSession();
    ResponsePopoverPresenter presenter(program.completion(), program.interview(),
                                       program.app->settingsViewModel(), *program.access);
    PopoverWindow view(presenter);
    const auto message = kind.message(size);
    Watch watch;
    watch.longestUntilQuiet();
    program.peer().sendText(message);
    const auto received = watch.longestUntilQuiet();
    view.hide();
    watch.longestUntilQuiet();
    view.show();
    const auto shown = watch.longestUntilQuiet();
    std::printf("%-30s %5.1f MB   received %7.1f ms   shown again %7.1f ms\n", kind.name,
                static_cast<double>(message.size()) / megabyte, received, shown);
    std::fflush(stdout);
    return std::max(received, shown) < awayLimit;
}

} // namespace

int main(int argc, char** argv) {
    PopoverWindow::chooseRenderer();
    QGuiApplication application(argc, argv);
    platform::setLogHandler([](platform::LogSink, const QString&) {});
    bool isPrompt = true;
    for (const auto& kind : kinds) {
        for (const auto size : {4 * megabyte, longest}) {
            isPrompt = measure(kind, size) && isPrompt;
        }
    }
    return isPrompt ? 0 : 1;
}
