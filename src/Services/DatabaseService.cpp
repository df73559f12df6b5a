#include "Services/DatabaseService.h"

#include "Platform/Core/Log.h"
#include "Platform/Storage/PrivateFile.h"

#include <QDir>
#include <QFile>

#include <array>
#include <vector>

#include <sqlite3.h>

namespace corvane {

namespace {

constexpr std::array migrations{
    R"(CREATE TABLE IF NOT EXISTS system_prompts (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    name TEXT NOT NULL,
    prompt TEXT NOT NULL,
    created_at TEXT DEFAULT (datetime('now')),
    updated_at TEXT DEFAULT (datetime('now'))
);)",
    R"(CREATE TABLE IF NOT EXISTS conversations (
    id TEXT PRIMARY KEY,
    title TEXT NOT NULL,
    created_at INTEGER NOT NULL,
    updated_at INTEGER NOT NULL
);)",
    R"(CREATE TABLE IF NOT EXISTS messages (
    id TEXT PRIMARY KEY,
    conversation_id TEXT NOT NULL,
    role TEXT NOT NULL CHECK(role IN ('user','assistant','system')),
    content TEXT NOT NULL,
    timestamp INTEGER NOT NULL,
    attached_files TEXT,
    FOREIGN KEY (conversation_id) REFERENCES conversations(id) ON DELETE CASCADE
);)",
    R"(CREATE TABLE IF NOT EXISTS interview_sessions (
    session_id TEXT PRIMARY KEY,
    start_time INTEGER NOT NULL,
    end_time INTEGER,
    platform TEXT,
    audio_url TEXT,
    transcript_url TEXT,
    video_s3_url TEXT,
    status TEXT DEFAULT 'recording',
    metadata TEXT,
    created_at INTEGER NOT NULL,
    updated_at INTEGER NOT NULL
);)",
    R"(CREATE TABLE IF NOT EXISTS app_settings (
    key TEXT PRIMARY KEY,
    value TEXT NOT NULL
);)",
};

// A prepared statement, finalised by the destructor. It owns the bytes of its bound texts, which SQLite reads
// in place.
class Statement {
public:
    explicit Statement(sqlite3_stmt* handle)
        : m_handle(handle) {}
    ~Statement() { sqlite3_finalize(m_handle); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    explicit operator bool() const { return m_handle; }

    Statement& bind(const QString& text) {
        const auto& bytes = m_texts.emplace_back(text.toUtf8());
        sqlite3_bind_text(m_handle, ++m_bound, bytes.constData(), static_cast<int>(bytes.size()),
                          SQLITE_STATIC);
        return *this;
    }
    Statement& bind(qint64 number) {
        sqlite3_bind_int64(m_handle, ++m_bound, number);
        return *this;
    }
    Statement& bind(const std::optional<QString>& text) {
        if (text) {
            return bind(*text);
        }
        sqlite3_bind_null(m_handle, ++m_bound);
        return *this;
    }

    bool nextRow() { return m_handle && sqlite3_step(m_handle) == SQLITE_ROW; }
    // Ignores a failure of the write.
    void run() { nextRow(); }

    QString text(int column) const { return optionalText(column).value_or(QString()); }
    std::optional<QString> optionalText(int column) const {
        const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(m_handle, column));
        return bytes ? std::optional(QString::fromUtf8(bytes, sqlite3_column_bytes(m_handle, column)))
                     : std::nullopt;
    }
    qint64 integer(int column) const { return sqlite3_column_int64(m_handle, column); }

private:
    sqlite3_stmt* m_handle;
    int m_bound = 0;
    std::vector<QByteArray> m_texts;
};

Conversation conversationFrom(const Statement& row) {
    return {row.text(0), row.text(1), row.integer(2), row.integer(3)};
}

ChatMessage messageFrom(const Statement& row) {
    return {row.text(0), row.text(1),    messageRole(row.text(2)).value_or(MessageRole::user),
            row.text(3), row.integer(4), row.optionalText(5)};
}

SystemPrompt systemPromptFrom(const Statement& row) {
    return {row.integer(0), row.text(1), row.text(2), row.text(3), row.text(4)};
}

template<typename Read>
auto allRows(Statement& statement, Read read) {
    QList<decltype(read(statement))> rows;
    while (statement.nextRow()) {
        rows.append(read(statement));
    }
    return rows;
}

// Removes NUL characters, which would end the statement.
std::string quoted(QString text) {
    return '\'' + text.remove(QChar(u'\0')).replace(u'\'', QStringLiteral("''")).toStdString() + '\'';
}

} // namespace

DatabaseService::DatabaseService(const QString& dataFolder, const platform::Clock& clock)
    : m_clock(clock) {
    const auto folder = dataFolder + QStringLiteral("/com.corvane.interview-assistant");
    constexpr auto ownerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
    QDir().mkpath(dataFolder);
    QDir().mkdir(folder, ownerOnly);
    QFile::setPermissions(folder, ownerOnly);
    m_dbPath = folder + QStringLiteral("/corvane.db");
    openDatabase();
    runMigrations();
}

DatabaseService::~DatabaseService() {
    sqlite3_close(m_db);
}

void DatabaseService::openDatabase() {
    // SQLite gives the write-ahead files the mode of the database file.
    platform::preparePrivateFile(m_dbPath);
    if (sqlite3_open(m_dbPath.toUtf8().constData(), &m_db) != SQLITE_OK) {
        platform::printLine(QStringLiteral("[DB] Failed to open database at ") + m_dbPath);
        return;
    }
    exec("PRAGMA journal_mode=WAL;");
    exec("PRAGMA foreign_keys=ON;");
}

void DatabaseService::runMigrations() {
    for (const char* statement : migrations) {
        exec(statement);
    }
}

bool DatabaseService::exec(const std::string& sql) {
    char* message = nullptr;
    const int result = sqlite3_exec(m_db, sql.c_str(), nullptr, nullptr, &message);
    if (result == SQLITE_OK) {
        return true;
    }
    // A connection that could not be opened reports its error only through sqlite3_errmsg().
    platform::printLine(QStringLiteral("[DB] Error: ") +
                        QString::fromUtf8(message ? message : sqlite3_errmsg(m_db)));
    sqlite3_free(message);
    return false;
}

sqlite3_stmt* DatabaseService::prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(m_db, sql, -1, &statement, nullptr) != SQLITE_OK) {
        platform::printLine(QStringLiteral("[DB] Prepare error: ") + QString::fromUtf8(sqlite3_errmsg(m_db)));
        return nullptr;
    }
    return statement;
}

std::optional<QString> DatabaseService::getSetting(const QString& key) {
    Statement statement(prepare("SELECT value FROM app_settings WHERE key = ?"));
    return statement && statement.bind(key).nextRow() ? std::optional(statement.text(0)) : std::nullopt;
}

void DatabaseService::setSetting(const QString& key, const QString& value) {
    if (Statement statement(prepare("INSERT OR REPLACE INTO app_settings (key, value) VALUES (?, ?)"));
        statement) {
        statement.bind(key).bind(value).run();
    }
}

void DatabaseService::createConversation(const Conversation& conversation) {
    if (Statement statement(prepare("INSERT OR REPLACE INTO conversations (id, title, created_at, updated_at)"
                                    " VALUES (?, ?, ?, ?)"));
        statement) {
        statement.bind(conversation.id)
            .bind(conversation.title)
            .bind(conversation.createdAt)
            .bind(conversation.updatedAt)
            .run();
    }
}

QList<Conversation> DatabaseService::getAllConversations() {
    Statement statement(
        prepare("SELECT id, title, created_at, updated_at FROM conversations ORDER BY updated_at DESC"));
    return allRows(statement, conversationFrom);
}

std::optional<Conversation> DatabaseService::getConversation(const QString& id) {
    Statement statement(prepare("SELECT id, title, created_at, updated_at FROM conversations WHERE id = ?"));
    return statement && statement.bind(id).nextRow() ? std::optional(conversationFrom(statement))
                                                     : std::nullopt;
}

// These statements contain ids unescaped: Conversation::newID() consists of letters, digits and an
// underscore.

void DatabaseService::updateConversation(const QString& id, const std::optional<QString>& title) {
    const auto now = std::to_string(m_clock.nowMilliseconds());
    const auto newTitle = title ? "title = " + quoted(*title) + ", " : std::string();
    exec("UPDATE conversations SET " + newTitle + "updated_at = " + now + " WHERE id = '" + id.toStdString() +
         "'");
}

void DatabaseService::deleteConversation(const QString& id) {
    exec("DELETE FROM messages WHERE conversation_id = '" + id.toStdString() + "'");
    exec("DELETE FROM conversations WHERE id = '" + id.toStdString() + "'");
}

void DatabaseService::deleteAllConversations() {
    exec("DELETE FROM messages");
    exec("DELETE FROM conversations");
}

void DatabaseService::saveMessage(const ChatMessage& message) {
    if (Statement statement(prepare("INSERT OR REPLACE INTO messages (id, conversation_id, role, content,"
                                    " timestamp, attached_files) VALUES (?, ?, ?, ?, ?, ?)"));
        statement) {
        statement.bind(message.id)
            .bind(message.conversationId)
            .bind(rawValue(message.role))
            .bind(message.content)
            .bind(message.timestamp)
            .bind(message.attachedFiles)
            .run();
    }
}

QList<ChatMessage> DatabaseService::getMessages(const QString& conversationId) {
    Statement statement(prepare("SELECT id, conversation_id, role, content, timestamp, attached_files"
                                " FROM messages WHERE conversation_id = ? ORDER BY timestamp ASC"));
    return statement ? allRows(statement.bind(conversationId), messageFrom) : QList<ChatMessage>();
}

qint64 DatabaseService::getMessageCount(const QString& conversationId) {
    Statement statement(prepare("SELECT COUNT(*) FROM messages WHERE conversation_id = ?"));
    return statement && statement.bind(conversationId).nextRow() ? statement.integer(0) : 0;
}

void DatabaseService::createSystemPrompt(const QString& name, const QString& prompt) {
    if (Statement statement(prepare("INSERT INTO system_prompts (name, prompt) VALUES (?, ?)")); statement) {
        statement.bind(name).bind(prompt).run();
    }
}

QList<SystemPrompt> DatabaseService::getAllSystemPrompts() {
    Statement statement(prepare(
        "SELECT id, name, prompt, created_at, updated_at FROM system_prompts ORDER BY updated_at DESC"));
    return allRows(statement, systemPromptFrom);
}

void DatabaseService::updateSystemPrompt(qint64 id, const std::optional<QString>& name,
                                         const std::optional<QString>& prompt) {
    std::string parts;
    if (name) {
        parts += "name = " + quoted(*name) + ", ";
    }
    if (prompt) {
        parts += "prompt = " + quoted(*prompt) + ", ";
    }
    parts += "updated_at = datetime('now')";
    exec("UPDATE system_prompts SET " + parts + " WHERE id = " + std::to_string(id));
}

void DatabaseService::deleteSystemPrompt(qint64 id) {
    exec("DELETE FROM system_prompts WHERE id = " + std::to_string(id));
}

} // namespace corvane
