#include "ChatsViewModel.h"

#include "DatabaseService.h"

ChatsViewModel::ChatsViewModel(DatabaseService& database)
    : m_database(database)
    , m_conversations(m_database.getAllConversations()) {}

void ChatsViewModel::setSearchText(const QString& text) {
    if (text != m_searchText) {
        m_searchText = text;
        Q_EMIT searchTextChanged();
    }
}
