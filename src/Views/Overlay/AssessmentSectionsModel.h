#pragma once

#include "Views/Overlay/AssessmentSections.h"
#include "Views/Shared/StreamedText.h"

#include <QAbstractListModel>
#include <qqmlregistration.h>

#include <memory>
#include <vector>

namespace corvane {

// The sections of an assessment that arrives in pieces: at every moment what parseAssessmentSections gives
// for the text so far. A piece touches the rows that it changes and no others.
class AssessmentSectionsModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed out by the popover")

public:
    enum Role { titleRole = Qt::UserRole, symbolRole, toneRole, streamRole };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    QList<AssessmentSection> sections() const;
    // There is more than white space, be it a header alone.
    bool hasText() const { return m_hasText; }

    void append(QStringView text);
    void clear();

private:
    struct Row {
        AssessmentSection::Kind kind;
        std::unique_ptr<StreamedText> text;
    };
    // Which section text goes to. It has a row, the last one, once it has text.
    struct State {
        AssessmentSection::Kind kind = AssessmentSection::overview;
        bool hasRow = false;
        StreamedText::Mark mark; // of the row
    };

    void appendToLine(QStringView text);
    void appendToSection(QStringView text);
    void endLine();
    void returnToLineStart();

    std::vector<Row> m_rows;
    State m_state;
    // The last line counts as it stands, and what it turns out to be may be something else.
    State m_lineStart;
    QString m_line;
    bool m_lineIsHeader = false;
    bool m_hasText = false;
    size_t m_firstTouched = 0;
};

} // namespace corvane
