#pragma once

#include "Views/Overlay/AssessmentSections.h"
#include "Views/Shared/CardText.h"

#include <QAbstractListModel>
#include <qqmlregistration.h>

#include <memory>
#include <vector>

namespace corvane {

// The cards of the assistant's words: a reply, when it is to be seen, and behind it the sections of an
// assessment, at every moment what parseAssessmentSections gives for the text so far. A chunk touches the
// rows that it changes and no others. A long text is a row for each of its pieces, so that a view lays out
// what is near and no more.
class AssistantCardsModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the popover")

public:
    enum Role {
        titleRole = Qt::UserRole,
        symbolRole,
        toneRole,
        streamRole,
        startsCardRole,
        isAssessmentRole
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // The reply.
    void appendNote(QStringView text);
    void clearNote();
    bool hasNote() const { return !m_note.empty(); }
    void setNoteVisible(bool visible);

    // The assessment.
    void append(QStringView text);
    void clear();
    // There is more than white space, be it a header alone.
    bool hasText() const { return m_hasText; }

    // Tells the views of rows that were there before what has been appended since the last call.
    void publish();

    QString note() const;
    QList<AssessmentSection> sections() const;

private:
    struct Row {
        AssessmentCard card;
        AssessmentSection::Kind kind = AssessmentSection::overview;
        bool startsCard = true; // false: a further piece of the text above
        std::unique_ptr<CardText> text = std::make_unique<CardText>();
    };
    using Rows = std::vector<Row>;
    // Which section text goes to. It has a row, the last one, once it has text.
    struct State {
        AssessmentSection::Kind kind = AssessmentSection::overview;
        bool hasRow = false;
        size_t rows = 0;     // in all
        CardText::Mark mark; // of the last one
    };

    const Row& rowAt(int index) const;
    int firstIndexOf(const Rows& rows) const;
    void insertRow(Rows& rows, Row row, QStringView text);
    void removeRows(Rows& rows, size_t from);
    void appendPieces(Rows& rows, QStringView text);
    void appendToLine(QStringView text);
    void appendToSection(QStringView text);
    void endLine();
    void returnToLineStart();

    Rows m_note;
    bool m_isNoteVisible = true;
    Rows m_rows;
    State m_state;
    // The last line counts as it stands, and what it turns out to be may be something else.
    State m_lineStart;
    QString m_line;
    bool m_lineIsHeader = false;
    bool m_hasText = false;
};

} // namespace corvane
