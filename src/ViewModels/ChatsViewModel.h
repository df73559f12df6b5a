#pragma once

#include "Models/ChatModels.h"

#include <QList>
#include <QObject>
#include <QString>

namespace corvane {

class DatabaseService;

// The stored conversations, newest first, as they were when the program started.
class ChatsViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QList<Conversation> conversations READ conversations NOTIFY conversationsChanged)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText NOTIFY searchTextChanged)

public:
    explicit ChatsViewModel(DatabaseService& database);

    const QList<Conversation>& conversations() const { return m_conversations; }
    const QString& searchText() const { return m_searchText; }
    // Sets the search text. It does not filter the list yet.
    void setSearchText(const QString& text);

Q_SIGNALS:
    void conversationsChanged();
    void searchTextChanged();

private:
    DatabaseService& m_database;
    QList<Conversation> m_conversations;
    QString m_searchText;
};

} // namespace corvane
