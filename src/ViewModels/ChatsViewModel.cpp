#include "ViewModels/ChatsViewModel.h"

#include "Services/DatabaseService.h"

namespace corvane {

ChatsViewModel::ChatsViewModel(DatabaseService& database)
    : m_database(database)
    , m_conversations(m_database.getAllConversations()) {}

void ChatsViewModel::setSearchText(const QString& text) {
    if (text != m_searchText) {
        m_searchText = text;
        Q_EMIT searchTextChanged();
    }
}

} // namespace corvane
