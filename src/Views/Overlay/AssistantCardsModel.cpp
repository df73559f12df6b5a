#include "Views/Overlay/AssistantCardsModel.h"

#include <algorithm>

namespace corvane {

namespace {

constexpr AssessmentCard noteCard{"Note", "sparkles", AssistantTone::neutral};

// The length of a piece in characters: a few screens of text, which are laid out within milliseconds. A piece
// ends at the first white space after pieceLength, and at longestPiece if there is none.
constexpr qsizetype pieceLength = 8000;
constexpr qsizetype longestPiece = 10000;

// Returns how many characters of the text still fit into a piece of that length.
qsizetype fittingLength(qsizetype length, QStringView text) {
    if (length + text.size() <= pieceLength) {
        return text.size();
    }
    const auto start = std::clamp<qsizetype>(pieceLength - length, 0, text.size());
    const auto end = std::clamp<qsizetype>(longestPiece - length, 0, text.size());
    for (auto at = start; at < end; ++at) {
        if (text.at(at).isSpace()) {
            return at + 1;
        }
    }
    return end > 0 && end < text.size() && text.at(end).isLowSurrogate() ? end - 1 : end;
}

QStringView withoutLeadingBlanks(QStringView text) {
    const auto isBlank = [](QChar character) { return character.isSpace(); };
    return {std::ranges::find_if_not(text, isBlank), text.end()};
}

bool isBlank(QStringView text) {
    return withoutLeadingBlanks(text).isEmpty();
}

} // namespace

int AssistantCardsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : firstIndex(m_rows) + static_cast<int>(m_rows.size());
}

int AssistantCardsModel::firstIndex(const Rows& rows) const {
    return &rows == &m_rows && m_isNoteVisible ? static_cast<int>(m_note.size()) : 0;
}

const AssistantCardsModel::Row& AssistantCardsModel::rowAt(int index) const {
    const auto first = firstIndex(m_rows);
    return index < first ? m_note.at(static_cast<size_t>(index))
                         : m_rows.at(static_cast<size_t>(index - first));
}

QVariant AssistantCardsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid)) {
        return {};
    }
    const auto& row = rowAt(index.row());
    switch (role) {
    case titleRole:
        return QString::fromLatin1(row.card.title);
    case symbolRole:
        return QString::fromLatin1(row.card.symbol);
    case toneRole:
        return colorRole(row.card.tone);
    case streamRole:
        return QVariant::fromValue(row.text.get());
    case startsCardRole:
        return row.startsCard;
    case isAssessmentRole:
        return index.row() >= firstIndex(m_rows);
    default:
        return {};
    }
}

QHash<int, QByteArray> AssistantCardsModel::roleNames() const {
    return {{titleRole, "title"},   {symbolRole, "symbol"},         {toneRole, "tone"},
            {streamRole, "stream"}, {startsCardRole, "startsCard"}, {isAssessmentRole, "isAssessment"}};
}

QString AssistantCardsModel::note() const {
    QString note;
    for (const auto& row : m_note) {
        note += row.text->text();
    }
    return note;
}

QList<AssessmentSection> AssistantCardsModel::assessmentSections() const {
    QList<AssessmentSection> sections;
    for (const auto& row : m_rows) {
        if (row.startsCard) {
            sections.append({row.kind, row.text->text()});
        } else {
            sections.last().text += row.text->text();
        }
    }
    return sections;
}

void AssistantCardsModel::appendNote(QStringView text) {
    if (!m_note.empty()) {
        appendPieces(m_note, text);
    } else if (!isBlank(text)) {
        insertRow(m_note, {.card = noteCard}, text);
    }
}

void AssistantCardsModel::clearNote() {
    removeRows(m_note, 0);
}

void AssistantCardsModel::setNoteVisible(bool visible) {
    if (visible == m_isNoteVisible) {
        return;
    }
    const auto last = static_cast<int>(m_note.size()) - 1;
    if (last < 0) {
        m_isNoteVisible = visible;
    } else if (visible) {
        beginInsertRows({}, 0, last);
        m_isNoteVisible = true;
        endInsertRows();
    } else {
        beginRemoveRows({}, 0, last);
        m_isNoteVisible = false;
        endRemoveRows();
    }
}

void AssistantCardsModel::append(QStringView text) {
    m_hasText = m_hasText || !isBlank(text);
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
}

void AssistantCardsModel::clear() {
    removeRows(m_rows, 0);
    m_state = {};
    m_lineStart = {};
    m_line.clear();
    m_lineIsHeader = false;
    m_hasText = false;
}

void AssistantCardsModel::publish() {
    for (auto* rows : {&m_note, &m_rows}) {
        for (const auto& row : *rows) {
            row.text->publish();
        }
    }
}

// Inserts a row together with its text. Text that does not fit goes to further rows.
void AssistantCardsModel::insertRow(Rows& rows, Row row, QStringView text) {
    text = withoutLeadingBlanks(text);
    const auto share = fittingLength(0, text);
    row.text->append(text.first(share));
    row.text->publish();
    const auto index = firstIndex(rows) + static_cast<int>(rows.size());
    const bool isSeen = &rows == &m_rows || m_isNoteVisible;
    if (isSeen) {
        beginInsertRows({}, index, index);
    }
    rows.push_back(std::move(row));
    if (isSeen) {
        endInsertRows();
    }
    appendPieces(rows, text.sliced(share));
}

void AssistantCardsModel::removeRows(Rows& rows, size_t from) {
    if (from >= rows.size()) {
        return;
    }
    const bool isSeen = &rows == &m_rows || m_isNoteVisible;
    const auto first = firstIndex(rows);
    if (isSeen) {
        beginRemoveRows({}, first + static_cast<int>(from), first + static_cast<int>(rows.size()) - 1);
    }
    rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(from), rows.end());
    if (isSeen) {
        endRemoveRows();
    }
}

// Appends to the last row, and to further rows when it gets too long.
void AssistantCardsModel::appendPieces(Rows& rows, QStringView text) {
    while (!text.isEmpty()) {
        const auto& last = rows.back();
        const auto share = isBlank(text) ? text.size() : fittingLength(last.text->text().size(), text);
        last.text->append(text.first(share));
        text = text.sliced(share);
        if (!isBlank(text)) {
            text = withoutLeadingBlanks(text);
            const auto next = fittingLength(0, text);
            insertRow(rows, {.card = last.card, .kind = last.kind, .startsCard = false}, text.first(next));
            text = text.sliced(next);
        }
    }
}

void AssistantCardsModel::appendToLine(QStringView text) {
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

void AssistantCardsModel::appendToSection(QStringView text) {
    if (m_state.hasRow) {
        appendPieces(m_rows, text);
    } else if (!isBlank(text)) {
        m_state.hasRow = true;
        insertRow(m_rows, {.card = assessmentCard(m_state.kind), .kind = m_state.kind}, text);
    }
}

void AssistantCardsModel::endLine() {
    if (!m_lineIsHeader) {
        appendToSection(u"\n");
    }
    m_state.rows = m_rows.size();
    if (m_state.hasRow) {
        m_state.mark = m_rows.back().text->mark();
    }
    m_lineStart = m_state;
    m_line.clear();
    m_lineIsHeader = false;
}

void AssistantCardsModel::returnToLineStart() {
    removeRows(m_rows, m_lineStart.rows);
    if (m_lineStart.hasRow) {
        m_rows.back().text->returnTo(m_lineStart.mark);
    }
    m_state = m_lineStart;
}

} // namespace corvane
