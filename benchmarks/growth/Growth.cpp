// How the cost of the program's work grows: each case at one size and at ten times that size. Linear growth
// costs ten times as much; exceeding the limit is a fault of the program.
//   Growth
#include "Services/DatabaseService.h"
#include "ViewModels/ChatsViewModel.h"
#include "benchmarks/PopoverWindow.h"
#include "tests/Support/TestProgram.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <functional>

#include <malloc.h>
#include <sqlite3.h>

using namespace corvane;

namespace {

using namespace std::chrono_literals;

constexpr double growthLimit =
    20; // cost ratio for ten times the work: allows sorting and a full cache, but not a square
constexpr auto interviewId = "3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19";

struct Cost {
    double time = 0;   // ms
    double memory = 0; // MB that stay allocated
};

double allocated() {
    const auto info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / 1e6;
}

Cost measureCost(const std::function<void()>& work) {
    QElapsedTimer time;
    const auto before = allocated();
    time.start();
    work();
    return {static_cast<double>(time.nsecsElapsed()) / 1e6, allocated() - before};
}

QByteArray message(const char* type, const QString& key, const QJsonValue& value) {
    return QJsonDocument(QJsonObject{{"type", type}, {key, value}}).toJson(QJsonDocument::Compact);
}

// The program in an interview, with its popover in a window.
struct Interview {
    TestProgram program;
    std::unique_ptr<ResponsePopoverPresenter> presenter;
    std::unique_ptr<PopoverWindow> view;

    Interview() {
        program.launchToSession();
        presenter = std::make_unique<ResponsePopoverPresenter>(
            program.completion(), program.interview(), program.app->settingsViewModel(), *program.access);
        view = std::make_unique<PopoverWindow>(*presenter);
        program.startInterview(QString::fromLatin1(interviewId));
    }

    void draw() {
        program.settle();
        QEventLoop frame;
        QTimer::singleShot(40ms, Qt::PreciseTimer, &frame,
                           &QEventLoop::quit); // longer than the presenter's own delay
        frame.exec();
        view->grabWindow();
    }
    // Half of the paragraphs are comments and half are recommendations, each with its own card, or all are in
    // one card.
    void assess(int paragraphs, bool inOneCard = false) {
        QString text;
        for (int i = 0; i < paragraphs; ++i) {
            if (!inOneCard) {
                text +=
                    i % 2 == 0 ? QStringLiteral("**Comment:**\n") : QStringLiteral("**Recommendation:**\n");
            }
            text += QStringLiteral(
                        "The candidate explains *calmly* what `p99` means, part %1. Ask for an "
                        "[example](https://a.test/%1) of it, and what it would cost to go without.\n\n")
                        .arg(i);
        }
        program.serverSays(message("assessment_chunk", "text", text));
        program.serverSays(R"({"type":"assessment_done"})");
    }
};

// Written with SQLite directly, like years of use: the program writes one conversation at a time.
void fill(const QString& folder, int conversations) {
    { const DatabaseService made(folder, FakeClock()); }
    sqlite3* database = nullptr;
    const auto path = folder + QStringLiteral("/com.corvane.interview-assistant/corvane.db");
    const auto sql =
        QStringLiteral(
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < %1) INSERT INTO "
            "conversations (id, title, created_at, updated_at) SELECT 'conv_' || i, 'Starting interview ' "
            "|| i, i, i FROM n")
            .arg(conversations);
    if (sqlite3_open(path.toUtf8().constData(), &database) != SQLITE_OK ||
        sqlite3_exec(database, sql.toUtf8().constData(), nullptr, nullptr, nullptr) != SQLITE_OK) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(path), sqlite3_errmsg(database));
        std::exit(2);
    }
    sqlite3_close(database);
}

Cost conversationsAtLaunch(int count) {
    const QTemporaryDir folder;
    fill(folder.path(), count);
    std::unique_ptr<DatabaseService> database;
    std::unique_ptr<ChatsViewModel> chats;
    const FakeClock clock;
    const auto cost = measureCost([&] {
        database = std::make_unique<DatabaseService>(folder.path(), clock);
        chats = std::make_unique<ChatsViewModel>(*database);
    });
    if (chats->conversations().size() != count) {
        std::fprintf(stderr, "Only %lld conversations were read.\n",
                     static_cast<long long>(chats->conversations().size()));
        std::exit(2);
    }
    return cost;
}

Cost questionsInThePlan(int count) {
    Interview interview;
    QJsonObject topics;
    for (int i = 0; i < count; ++i) {
        const auto topic = QStringLiteral("Topic %1").arg(i / 10);
        auto questions = topics.value(topic).toArray();
        questions.append(QJsonObject{{"question", QStringLiteral("What is **number %1** about?").arg(i)},
                                     {"justification", "Depth"}});
        topics[topic] = questions;
    }
    const auto plan = message("chat_interview_plan", "plan", topics);
    const auto questions = message("chat_questions", "questions", topics);
    return measureCost([&] {
        interview.program.serverSays(plan);
        interview.program.serverSays(questions);
        interview.draw();
    });
}

// A paragraph has 145 bytes.
Cost assessment(int paragraphs, bool inOneCard) {
    Interview interview;
    interview.program.serverSays(R"({"type":"chat_questions","questions":{"A":[{"question":"Why?"}]}})");
    interview.program.interview().toggleFollowUps();
    interview.draw();
    return measureCost([&] {
        interview.assess(paragraphs, inOneCard);
        interview.draw();
    });
}
Cost paragraphsInOneCard(int count) {
    return assessment(count, true);
}
Cost cardsOfAnAssessment(int count) {
    return assessment(count, false);
}

// An assessment of ten paragraphs a minute, and the marks of an answer.
Cost minutesOfInterview(int count) {
    Interview interview;
    interview.program.serverSays(R"({"type":"chat_questions","questions":{"A":[{"question":"Why?"}]}})");
    interview.program.interview().toggleFollowUps();
    interview.draw();
    return measureCost([&] {
        for (int minute = 0; minute < count; ++minute) {
            interview.program.serverSays(R"({"type":"candidate_speaking"})");
            interview.program.serverSays(R"({"type":"candidate_stopped_speaking"})");
            interview.assess(10);
            interview.program.clock->advance(1min);
            interview.draw();
        }
    });
}

struct Case {
    const char* name;
    int size;
    Cost (*run)(int);
};

constexpr Case cases[]{
    {"conversations in the store, at launch", 10'000, conversationsAtLaunch},
    {"questions of a plan, until drawn", 100, questionsInThePlan},
    {"paragraphs of an assessment, until drawn", 3'500, paragraphsInOneCard},
    {"cards of an assessment, until drawn", 1'000, cardsOfAnAssessment},
    {"minutes of an interview", 48, minutesOfInterview},
};

// Returns the best of three runs, unless they take long: other load only adds to the time.
Cost best(const Case& each, int size) {
    auto cost = each.run(size);
    for (int again = 0; again < 2 && cost.time < 1000; ++again) {
        const auto other = each.run(size);
        cost = {std::min(cost.time, other.time), std::max(cost.memory, other.memory)};
    }
    return cost;
}

} // namespace

int main(int argc, char* argv[]) {
    PopoverWindow::chooseRenderer();
    const QGuiApplication application(argc, argv);
    platform::setLogHandler([](platform::LogSink, const QString&) {});
    // Reads what is loaded only once, so that it does not count for the smaller case.
    Interview().draw();
    bool holds = true;
    std::printf("| Size | Of | Time | Times | Kept in memory |\n|---|---|---|---|---|\n");
    for (const auto& each : cases) {
        const auto small = best(each, each.size);
        const auto large = best(each, each.size * 10);
        const auto times = large.time / small.time;
        std::printf("| %d | %s | %.1f ms | | %.1f MB |\n", each.size, each.name, small.time, small.memory);
        std::printf("| %d | | %.1f ms | %.1f%s | %.1f MB |\n", each.size * 10, large.time, times,
                    times > growthLimit ? ", over the limit" : "", large.memory);
        std::fflush(stdout);
        holds = holds && times <= growthLimit;
    }
    std::printf("Limit: %.0f times.\n", growthLimit);
    return holds ? 0 : 1;
}
