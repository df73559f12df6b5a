#include "Views/Overlay/AssistantCardsModel.h"
#include "tests/Support/Rows.h"

#include <QAbstractItemModelTester>
#include <QRandomGenerator>

using namespace corvane;

namespace {

QString shown(const QList<AssessmentSection>& sections) {
    QStringList parts;
    for (const auto& section : sections) {
        parts.append(QString("%1<%2>").arg(assessmentCard(section.kind).title, section.text));
    }
    return parts.join(u' ');
}

QString randomAssessment(QRandomGenerator& random) {
    static const QStringList pieces{"comment",
                                    "**Comment:**",
                                    "Recommendation",
                                    "*RECOMMENDATION*:",
                                    "\n",
                                    "\n",
                                    "\n\n",
                                    "\r\n",
                                    " ",
                                    "\t",
                                    "s",
                                    ":",
                                    "Comments",
                                    "word",
                                    "*",
                                    "\u00A0",
                                    "# ",
                                    "Com"};
    QString text;
    for (auto count = random.bounded(60); count > 0; --count) {
        text += pieces.at(random.bounded(pieces.size()));
    }
    return text;
}

} // namespace

class AssessmentSectionsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void sectionsOfAText_data() {
        const auto row = rows<QString, QString>();
        row("no header", "a\nb", "Assessment<a\nb>");
        row("nothing but blanks", " \n\n ", "");
        row("three parts", "a\nComment\nb\nRecommendation:\nc", "Assessment<a> Comment<b> Recommendation<c>");
        row("a header with nothing under it", "comment\n \n**Recommendation**\na", "Recommendation<a>");
        row("ends in a header", "a\n\nRecommendation", "Assessment<a>");
        row("forms of a header", " **COMMENT:** \r\na\n*com*ment\nb\nRecommendation**:\nc",
            "Comment<a> Comment<b> Recommendation<c>");
        row("no headers", "Comment: a\n# Comment\nComments\ncomment :\n**Comment: **",
            "Assessment<Comment: a\n# Comment\nComments\ncomment :\n**Comment: **>");
        row("inner lines stay as they are", "a  \n\n  b\n\ncomment\n\n c \n\n d \n",
            "Assessment<a  \n\n  b> Comment<c \n\n d>");
    }

    void sectionsOfAText() {
        const auto [text, expected] = currentRow<QString, QString>();
        QCOMPARE(shown(parseAssessmentSections(text)), expected);
    }

    void aStreamGivesTheSectionsOfItsText() {
        AssistantCardsModel model;
        const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
        // The texts as readers have them that only hear of changes, and the streams that told of one.
        QHash<CardText*, QString> followed;
        QSet<CardText*> told;
        const auto streamOf = [&](int row) {
            return model.data(model.index(row), AssistantCardsModel::streamRole).value<CardText*>();
        };
        connect(&model, &QAbstractItemModel::rowsInserted, this, [&](const QModelIndex&, int row) {
            auto* stream = streamOf(row);
            followed[stream] = stream->text();
            connect(stream, &CardText::changed, this, [&, stream](qsizetype unchanged) {
                followed[stream] = followed[stream].left(unchanged) + stream->text().mid(unchanged);
                told.insert(stream);
            });
        });
        for (quint32 seed = 1; seed <= 300; ++seed) {
            QRandomGenerator random(seed);
            const auto whole = randomAssessment(random);
            model.clear();
            for (qsizetype at = 0; at < whole.size();) {
                const auto count =
                    std::min<qsizetype>(1 + random.bounded(random.bounded(2) ? 3 : 40), whole.size() - at);
                const auto rowsBefore = model.rowCount();
                told.clear();
                model.append(QStringView(whole).sliced(at, count));
                model.publish();
                at += count;
                const auto expected = parseAssessmentSections(whole.left(at));
                QVERIFY2(model.assessmentSections() == expected,
                         qPrintable(QString("seed %1: %2\n%3")
                                        .arg(seed)
                                        .arg(shown(model.assessmentSections()), shown(expected))));
                QCOMPARE(model.hasText(), !whole.left(at).trimmed().isEmpty());
                for (int row = 0; row < model.rowCount(); ++row) {
                    QCOMPARE(followed.value(streamOf(row)), expected.at(row).text);
                    QVERIFY(row >= rowsBefore - 1 || !told.contains(streamOf(row)));
                }
            }
        }
    }
};

QTEST_GUILESS_MAIN(AssessmentSectionsTest)
#include "AssessmentSectionsTest.moc"
