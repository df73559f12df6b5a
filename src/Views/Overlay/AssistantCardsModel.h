#pragma once

#include "Views/Overlay/AssessmentSections.h"
#include "Views/Shared/CardText.h"

#include <QAbstractListModel>
#include <qqmlregistration.h>

#include <memory>
#include <vector>

namespace corvane {

// The cards in which the assistant's text is shown: the reply, where it is visible, and after it the sections
// of the assessment. The sections are at all times those that parseAssessmentSections() returns for the text
// so far. A chunk changes only the rows that it affects. A long text has a row for each of its pieces, so
// that a view lays out only those nearby.
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

    // The text of the reply.
    void appendNote(QStringView text);
    void clearNote();
    bool hasNote() const { return !m_note.empty(); }
    void setNoteVisible(bool visible);

    // The text of the assessment.
    void append(QStringView text);
    void clear();
    // Returns whether the assessment has more than white space; a header counts.
    bool hasText() const { return m_hasText; }

    // Tells the views what has been appended to existing rows since the last call.
    void publish();

    QString note() const;
    QList<AssessmentSection> assessmentSections() const;

private:
    struct Row {
        AssessmentCard card;
        AssessmentSection::Kind kind = AssessmentSection::overview;
        bool startsCard = true; // false for a further piece of the text above
        std::unique_ptr<CardText> text = std::make_unique<CardText>();
    };
    using Rows = std::vector<Row>;
    // The section that text is appended to. Its row, the last one, is created with its first text.
    struct State {
        AssessmentSection::Kind kind = AssessmentSection::overview;
        bool hasRow = false;
        size_t rows = 0;     // total number
        CardText::Mark mark; // of the last row
    };

    const Row& rowAt(int index) const;
    int firstIndex(const Rows& rows) const;
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
    // The state before the last line, to which the model returns when the line turns out to be a header, or
    // not to be one.
    State m_lineStart;
    QString m_line;
    bool m_lineIsHeader = false;
    bool m_hasText = false;
};

} // namespace corvane
