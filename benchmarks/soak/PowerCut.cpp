// Kills a program that stores a conversation, at random moments, and examines what it leaves: the database
// must open, be intact and contain every message whose save had returned. Every other round begins without a
// database, so that its creation is interrupted too.
//   PowerCut [rounds] [seed]
#include "Models/ChatModels.h"
#include "Platform/Core/SystemClock.h"
#include "Services/DatabaseService.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <sqlite3.h>

#include <cstdio>
#include <random>

using namespace corvane;

namespace {

constexpr auto childArgument = "save";
constexpr auto conversationId = "conv_00000000000000000000000000000001";
constexpr int mostAwaited = 12;    // saves
constexpr int longestAfter = 8000; // µs

ChatMessage makeMessage(const QString& id) {
    ChatMessage message;
    message.id = id;
    message.conversationId = QString::fromLatin1(conversationId);
    message.role = MessageRole::assistant;
    message.content = id.repeated(40);
    message.timestamp = 1;
    return message;
}

// Runs until it is killed: saves messages, and prints each id once its save has returned.
int save(const QString& folder, const QString& round) {
    const platform::SystemClock clock;
    DatabaseService database(folder, clock);
    // Creating it again would remove its messages.
    if (const auto id = QString::fromLatin1(conversationId); !database.getConversation(id)) {
        database.createConversation({id, QStringLiteral("Killed"), 1, 1});
    }
    for (int i = 0;; ++i) {
        const auto id = QStringLiteral("msg_%1_%2").arg(round).arg(i);
        database.saveMessage(makeMessage(id));
        std::puts(qPrintable(id));
        std::fflush(stdout);
    }
}

bool isSound(const QString& folder) {
    sqlite3* database = nullptr;
    const auto path = folder + QStringLiteral("/com.corvane.interview-assistant/corvane.db");
    QByteArray answer;
    const auto take = [](void* to, int, char** values, char**) {
        *static_cast<QByteArray*>(to) += values[0];
        return 0;
    };
    const bool opens = sqlite3_open(path.toUtf8().constData(), &database) == SQLITE_OK &&
                       sqlite3_exec(database, "PRAGMA integrity_check", take, &answer, nullptr) == SQLITE_OK;
    sqlite3_close(database);
    return opens && answer == "ok";
}

// Returns the ids whose save had returned when the program was killed, which is `after` microseconds past
// `awaited` saves, however long a busy machine takes for them.
QStringList killedSaves(const QString& folder, int round, int awaited, int after) {
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(),
                {QLatin1String(childArgument), folder, QString::number(round)});
    child.waitForStarted();
    QByteArray told;
    while (told.count('\n') < awaited && child.waitForReadyRead(60000)) {
        told += child.readAllStandardOutput();
    }
    QThread::usleep(static_cast<unsigned long>(after));
    child.kill();
    child.waitForFinished();
    // A truncated line may or may not have its save behind it, so only whole lines count.
    auto lines = QString::fromLatin1(told + child.readAllStandardOutput()).split(u'\n');
    lines.removeLast();
    return lines;
}

// Returns how many of the saved messages are missing or different.
qsizetype lost(const QString& folder, const QStringList& saved) {
    const platform::SystemClock clock;
    DatabaseService database(folder, clock);
    QMap<QString, QString> found;
    for (const auto& message : database.getMessages(QString::fromLatin1(conversationId))) {
        found[message.id] = message.content;
    }
    return std::ranges::count_if(
        saved, [&](const QString& id) { return found.value(id) != makeMessage(id).content; });
}

} // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    const auto arguments = QCoreApplication::arguments();
    if (arguments.value(1) == QLatin1String(childArgument)) {
        return save(arguments.value(2), arguments.value(3));
    }
    const int rounds = arguments.size() > 1 ? std::max(2, arguments.at(1).toInt()) : 200;
    const auto seed = arguments.size() > 2 ? arguments.at(2).toUInt() : std::random_device{}();
    std::mt19937 random(seed);
    std::uniform_int_distribution awaited(0, mostAwaited);
    std::uniform_int_distribution after(0, longestAfter);
    std::printf("Seed %u.\n", seed);
    qsizetype saves = 0;
    qsizetype losses = 0;
    int unsound = 0;
    int beforeAnySave = 0;
    auto folder = std::make_unique<QTemporaryDir>();
    QStringList saved; // in the current folder
    for (int round = 0; round < rounds; ++round) {
        if (round % 2 == 0) {
            folder = std::make_unique<QTemporaryDir>();
            saved.clear();
        }
        const auto now = killedSaves(folder->path(), round, awaited(random), after(random));
        beforeAnySave += now.isEmpty();
        saves += now.size();
        saved += now;
        losses += lost(folder->path(), saved);
        unsound += !isSound(folder->path());
    }
    std::printf("%d kills, %d of them before the first save: %lld saves, %lld lost, %d databases unsound.\n",
                rounds, beforeAnySave, static_cast<long long>(saves), static_cast<long long>(losses),
                unsound);
    if (saves == 0) {
        std::puts("Nothing was ever saved: this shows nothing.");
    }
    return losses == 0 && unsound == 0 && saves > 0 ? 0 : 1;
}
