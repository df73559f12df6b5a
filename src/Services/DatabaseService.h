#pragma once

#include "Models/ChatModels.h"
#include "Platform/Core/Clock.h"

#include <QList>
#include <QString>

#include <optional>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace corvane {

// The program's SQLite database: conversations, messages, system prompts and a key-value table. Main thread.
// Failures are printed to standard output, and the operations then return an empty result.
class DatabaseService {
public:
    // Opens <dataFolder>/com.corvane.interview-assistant/corvane.db, creating folders and tables as needed.
    DatabaseService(const QString& dataFolder, const platform::Clock& clock);
    ~DatabaseService();
    DatabaseService(const DatabaseService&) = delete;
    DatabaseService& operator=(const DatabaseService&) = delete;

    std::optional<QString> getSetting(const QString& key);
    void setSetting(const QString& key, const QString& value);

    void createConversation(const Conversation& conversation);
    QList<Conversation> getAllConversations();
    std::optional<Conversation> getConversation(const QString& id);
    // Sets updated_at to the present time, and the title if one is given.
    void updateConversation(const QString& id, const std::optional<QString>& title);
    void deleteConversation(const QString& id);
    void deleteAllConversations();

    void saveMessage(const ChatMessage& message);
    QList<ChatMessage> getMessages(const QString& conversationId);
    qint64 getMessageCount(const QString& conversationId);

    void createSystemPrompt(const QString& name, const QString& prompt);
    QList<SystemPrompt> getAllSystemPrompts();
    void updateSystemPrompt(qint64 id, const std::optional<QString>& name,
                            const std::optional<QString>& prompt);
    void deleteSystemPrompt(qint64 id);

    const QString& dbPath() const { return m_dbPath; }

private:
    void openDatabase();
    void runMigrations();
    // Returns false when SQLite reports an error, which is printed.
    bool exec(const std::string& sql);
    sqlite3_stmt* prepare(const char* sql);

    sqlite3* m_db = nullptr;
    QString m_dbPath;
    const platform::Clock& m_clock;
};

} // namespace corvane
