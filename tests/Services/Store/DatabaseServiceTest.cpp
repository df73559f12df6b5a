#include "Services/DatabaseService.h"
#include "tests/Support/FakeClock.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/Rows.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <sqlite3.h>

using namespace corvane;

namespace {

const QString conversationId = QStringLiteral("conv_1");

// Another program reads or changes the file.
QString query(const QString& path, const char* sql) {
    sqlite3* db = nullptr;
    QString rows;
    if (sqlite3_open(path.toUtf8().constData(), &db) == SQLITE_OK) {
        const auto append = [](void* text, int columns, char** values, char**) {
            for (int i = 0; i < columns; ++i) {
                *static_cast<QString*>(text) +=
                    QString::fromUtf8(values[i]) + (i + 1 < columns ? u'|' : u';');
            }
            return 0;
        };
        sqlite3_exec(db, sql, append, &rows, nullptr);
    }
    sqlite3_close(db);
    return rows;
}

} // namespace

// On a real file.
class DatabaseServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_folder = std::make_unique<QTemporaryDir>();
        m_log = std::make_unique<LogCapture>();
        open();
    }
    void cleanup() {
        m_database.reset();
        m_log.reset();
    }

    void aSecondStartFindsWhatTheFirstLeft() {
        m_database->setSetting("corvane_api_url", "https://a");
        m_database->setSetting("corvane_api_url", QString());
        const auto schema = query(m_database->dbPath(), "SELECT name, sql FROM sqlite_master");
        open();
        QCOMPARE(query(m_database->dbPath(), "SELECT name, sql FROM sqlite_master"), schema);
        QCOMPARE(m_database->getSetting("corvane_api_url"), QString());
        QCOMPARE(m_database->getSetting("other"), std::nullopt);
        QCOMPARE(query(m_database->dbPath(), "PRAGMA journal_mode"), "wal;");
        QCOMPARE(m_log->lines(), QStringList());
    }

    void anyTextComesBack() {
        for (const auto& text :
             QStringList{"it's ''quoted''; DROP TABLE messages; --", "", "日本 🎤", QString(200000, u'\'')}) {
            m_database->createConversation({conversationId, text, 1, 2});
            QCOMPARE(m_database->getConversation(conversationId)->title, text);
            m_clock.jump(std::chrono::milliseconds(123));
            m_database->updateConversation(conversationId, text + u'\'');
            const Conversation expected{conversationId, text + u'\'', 1, m_clock.nowMilliseconds()};
            QCOMPARE(*m_database->getConversation(conversationId), expected);
            m_database->deleteConversation(conversationId);
        }
        // A string that is not valid text does no harm.
        const auto broken = QString("a") + QChar(u'\0') + QChar(0xd800);
        m_database->createConversation({conversationId, broken, 1, 2});
        QCOMPARE(m_database->getConversation(conversationId)->title.size(), broken.size());
        m_database->updateConversation(conversationId, broken);
        QVERIFY(m_database->getConversation(conversationId)->title.startsWith('a'));
        QCOMPARE(m_log->lines(), QStringList());
    }

    void conversationsMoveUpWhenTheyAreUpdated() {
        for (const auto& [id, time] :
             {std::pair("conv_a", 10), std::pair("conv_b", 30), std::pair("conv_c", 20)}) {
            m_database->createConversation({QString::fromLatin1(id), "New Chat", time, time});
        }
        QCOMPARE(ids(), "conv_b conv_c conv_a");
        m_database->updateConversation("conv_a", std::nullopt);
        QCOMPARE(ids(), "conv_a conv_b conv_c");
        QCOMPARE(m_database->getConversation("conv_a")->title, "New Chat");
        QCOMPARE(m_database->getConversation("conv_a")->createdAt, 10);
    }

    void messagesBelongToAConversation() {
        const ChatMessage late{"msg_2", conversationId, MessageRole::assistant, "it's", 20, "[]"};
        const ChatMessage early{"msg_1", conversationId, MessageRole::system, {}, 10, {}};
        m_database->saveMessage(late);
        QCOMPARE(m_database->getMessageCount(conversationId), 0);
        m_database->createConversation({conversationId, {}, 1, 1});
        m_database->createConversation({"conv_2", {}, 1, 1});
        m_database->saveMessage(late);
        m_database->saveMessage(early);
        m_database->saveMessage(late);
        m_database->saveMessage({"msg_3", "conv_2", MessageRole::user, {}, 5, {}});
        QCOMPARE(m_database->getMessages(conversationId), (QList{early, late}));
        QCOMPARE(m_database->getMessageCount(conversationId), 2);
        m_database->deleteConversation(conversationId);
        QCOMPARE(m_database->getMessages(conversationId), QList<ChatMessage>());
        QCOMPARE(m_database->getConversation(conversationId), std::nullopt);
        QCOMPARE(m_database->getMessageCount("conv_2"), 1);
        m_database->deleteAllConversations();
        QCOMPARE(query(m_database->dbPath(), "SELECT (SELECT COUNT(*) FROM messages),"
                                             " (SELECT COUNT(*) FROM conversations)"),
                 "0|0;");
        QCOMPARE(m_log->lines(), QStringList());
    }

    void onlyTheUserReadsTheFiles() {
        m_database->setSetting("k", "v");
        const auto folder = QFileInfo(m_database->dbPath()).dir();
        const QFile::Permissions others(0x0077);
        QCOMPARE(QFile::permissions(folder.path()) & others, QFile::Permissions());
        const auto files = folder.entryInfoList(QDir::Files);
        QVERIFY(files.size() >= 2); // the database and its write-ahead files
        for (const auto& file : files) {
            QVERIFY2((file.permissions() & others) == QFile::Permissions(), qPrintable(file.fileName()));
        }
        m_database.reset();
        QFile::setPermissions(folder.filePath("corvane.db"), QFile::Permissions(0x6644));
        open();
        QCOMPARE(QFile::permissions(m_database->dbPath()) & others, QFile::Permissions());
    }

    void whatCannotBeUsedIsSaidAndNothingBreaks_data() {
        const auto row = rows<QString, QString>(); // what is there as a file of garbage
        row("no folder", "[DB] Failed to open database at %1", "");
        row("no database", "[DB] Error: file is not a database",
            "/com.corvane.interview-assistant/corvane.db");
    }
    void whatCannotBeUsedIsSaidAndNothingBreaks() {
        auto [firstLine, createAt] = currentRow<QString, QString>();
        const auto folder = m_folder->filePath("other");
        QVERIFY(QDir().mkpath(QFileInfo(folder + createAt).path()));
        QFile file(folder + createAt);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
        file.close();
        m_database = std::make_unique<DatabaseService>(folder, m_clock);
        const auto lines = m_log->standardOutputLines();
        QCOMPARE(lines.value(0), firstLine.replace("%1", m_database->dbPath()));
        QVERIFY(lines.size() >= 6); // the tables too
        QVERIFY(lines.at(5).startsWith("[DB] Error: "));
        m_log->clear();
        m_database->setSetting("k", "v");
        QVERIFY(m_log->lines().value(0).startsWith("[DB] Prepare error: "));
        m_database->createConversation({conversationId, {}, 1, 1});
        m_database->saveMessage({});
        m_database->createSystemPrompt({}, {});
        m_database->updateConversation(conversationId, QString());
        m_database->updateSystemPrompt(1, QString(), QString());
        m_database->deleteAllConversations();
        QVERIFY(!m_database->getSetting("k") && !m_database->getConversation(conversationId));
        QVERIFY(m_database->getAllConversations().isEmpty() && m_database->getAllSystemPrompts().isEmpty());
        QVERIFY(m_database->getMessages(conversationId).isEmpty());
        QCOMPARE(m_database->getMessageCount(conversationId), 0);
    }

    void aLockedDatabaseLosesTheWriteAndGoesOn() {
        sqlite3* other = nullptr;
        QCOMPARE(sqlite3_open(m_database->dbPath().toUtf8().constData(), &other), SQLITE_OK);
        QCOMPARE(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
        m_database->setSetting("k", "lost");
        QCOMPARE(m_log->lines(), QStringList());
        m_database->deleteSystemPrompt(1);
        QCOMPARE(m_log->standardOutputLines(), QStringList{"[DB] Error: database is locked"});
        sqlite3_close(other);
        m_database->setSetting("k", "kept");
        QCOMPARE(m_database->getSetting("k"), "kept");
    }

private:
    void open() {
        m_database.reset();
        m_database = std::make_unique<DatabaseService>(m_folder->filePath("data"), m_clock);
    }
    QString ids() {
        QStringList all;
        for (const auto& conversation : m_database->getAllConversations()) {
            all.append(conversation.id);
        }
        return all.join(u' ');
    }

    FakeClock m_clock;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<LogCapture> m_log;
    std::unique_ptr<DatabaseService> m_database;
};

QTEST_GUILESS_MAIN(DatabaseServiceTest)
#include "DatabaseServiceTest.moc"
