#include "Views/Overlay/AssessmentSectionsModel.h"

#include <algorithm>

namespace corvane {

int AssessmentSectionsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

QVariant AssessmentSectionsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const auto& row = m_rows.at(static_cast<size_t>(index.row()));
    const auto& card = assessmentCard(row.kind);
    switch (role) {
    case titleRole:
        return QString::fromLatin1(card.title);
    case symbolRole:
        return QString::fromLatin1(card.symbol);
    case toneRole:
        return colorRole(card.tone);
    case streamRole:
        return QVariant::fromValue(row.text.get());
    default:
        return {};
    }
}

QHash<int, QByteArray> AssessmentSectionsModel::roleNames() const {
    return {{titleRole, "title"}, {symbolRole, "symbol"}, {toneRole, "tone"}, {streamRole, "stream"}};
}

QList<AssessmentSection> AssessmentSectionsModel::sections() const {
    QList<AssessmentSection> sections;
    for (const auto& row : m_rows) {
        sections.append({row.kind, row.text->text()});
    }
    return sections;
}

void AssessmentSectionsModel::append(QStringView text) {
    m_hasText = m_hasText || !text.trimmed().isEmpty();
    m_firstTouched = m_rows.empty() ? 0 : m_rows.size() - 1;
    for (qsizetype start = 0; start < text.size();) {
        const auto found = text.indexOf(u'\n', start);
        const auto end = found < 0 ? text.size() : found;
        if (end > start) {
            appendToLine(text.sliced(start, end - start));
        }
        if (found >= 0) {
            endLine();
        }
        start = end + 1;
    }
    for (auto row = std::min(m_firstTouched, m_rows.size()); row < m_rows.size(); ++row) {
        m_rows[row].text->publish();
    }
}

void AssessmentSectionsModel::clear() {
    if (!m_rows.empty()) {
        beginRemoveRows({}, 0, static_cast<int>(m_rows.size()) - 1);
        m_rows.clear();
        endRemoveRows();
    }
    m_state = {};
    m_lineStart = {};
    m_line.clear();
    m_lineIsHeader = false;
    m_hasText = false;
}

void AssessmentSectionsModel::appendToLine(QStringView text) {
    m_line += text;
    const auto header = sectionHeaderType(m_line);
    const bool isHeader = !header.isEmpty();
    if (isHeader != m_lineIsHeader) {
        returnToLineStart();
    }
    if (isHeader) {
        m_state = {.kind = sectionKind(header), .hasRow = false, .mark = {}};
    } else {
        appendToSection(m_lineIsHeader ? QStringView(m_line) : text);
    }
    m_lineIsHeader = isHeader;
}

void AssessmentSectionsModel::appendToSection(QStringView text) {
    if (m_state.hasRow) {
        m_rows.back().text->append(text);
    } else if (!text.trimmed().isEmpty()) {
        const auto row = static_cast<int>(m_rows.size());
        beginInsertRows({}, row, row);
        m_rows.push_back({m_state.kind, std::make_unique<StreamedText>()});
        m_rows.back().text->append(text);
        m_rows.back().text->publish();
        m_state.hasRow = true;
        endInsertRows();
    }
}

void AssessmentSectionsModel::endLine() {
    if (!m_lineIsHeader) {
        appendToSection(u"\n");
    }
    if (m_state.hasRow) {
        m_state.mark = m_rows.back().text->mark();
    }
    m_lineStart = m_state;
    m_line.clear();
    m_lineIsHeader = false;
}

void AssessmentSectionsModel::returnToLineStart() {
    if (m_state.hasRow && !m_lineStart.hasRow) {
        const auto last = static_cast<int>(m_rows.size()) - 1;
        beginRemoveRows({}, last, last);
        m_rows.pop_back();
        endRemoveRows();
    } else if (m_state.hasRow) {
        m_rows.back().text->returnTo(m_lineStart.mark);
    }
    m_state = m_lineStart;
}

} // namespace corvane
