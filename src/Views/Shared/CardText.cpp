#include "Views/Shared/CardText.h"

#include <algorithm>

namespace corvane {

void CardText::append(QStringView more) {
    const auto words = m_text.isEmpty() ? more.trimmed() : more;
    const auto isBlank = [](QChar character) { return character.isSpace(); };
    const auto end = std::find_if_not(more.crbegin(), more.crend(), isBlank).base();
    if (end == more.cbegin()) {
        if (!m_text.isEmpty()) {
            m_blanks += more;
        }
        return;
    }
    const auto start = m_text.isEmpty() ? words.cbegin() : more.cbegin();
    m_unchanged = m_isChanged ? std::min(m_unchanged, m_text.size()) : m_text.size();
    m_isChanged = true;
    m_text += m_blanks;
    m_text += QStringView(start, end);
    m_blanks = QStringView(end, more.cend()).toString();
}

void CardText::returnTo(const Mark& mark) {
    if (mark.length < m_text.size()) {
        m_unchanged = m_isChanged ? std::min(m_unchanged, mark.length) : mark.length;
        m_isChanged = true;
        m_text.truncate(mark.length);
    }
    m_blanks = mark.blanks;
}

void CardText::publish() {
    if (m_isChanged) {
        m_isChanged = false;
        Q_EMIT changed(m_unchanged);
    }
}

} // namespace corvane
