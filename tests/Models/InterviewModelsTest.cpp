#include "InterviewModels.h"
#include "Json.h"
#include "Rows.h"

#include <QTest>

class InterviewModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void topicsParse_data() {
        const auto row = rows<QByteArray, QString, QString>();
        row("one element that is no object drops the topic",
            R"({"Design":[{"question":"Why?"},7],"Teamwork":[{"question":"Who?"}]})", "Teamwork/Who?/;",
            "Teamwork: Who?;");
        row("an element without a question drops alone",
            R"({"D":[{"question":"Why?","justification":"Depth"},{"text":"x"},{"question":null}]})",
            "D/Why?/Depth;", "D: Why?;");
        row("a value that is no array", R"({"Design":"text"})", "", "");
        row("a topic without questions stays in the plan", R"({"Design":[]})", "", "Design: ;");
        row("a justification of another kind is empty",
            R"({"D":[{"question":"a","justification":null},{"question":"b","justification":3}]})",
            "D/a/;D/b/;", "D: a|b;");
        row("in the order of the document", R"({"Z":[{"question":"a"}],"A":[{"question":"b"}],"M":[]})",
            "Z/a/;A/b/;", "Z: a;A: b;M: ;");
    }
    void topicsParse() {
        const auto [document, questions, plan] = currentRow<QByteArray, QString, QString>();
        const auto object = json::parse(document).as_object();
        QString found;
        for (const auto& row : InterviewQuestion::parse(object)) {
            found += row.topic + u'/' + row.question + u'/' + row.justification + u';';
        }
        QCOMPARE(found, questions);
        found.clear();
        for (const auto& row : InterviewPlanTopic::parse(object)) {
            found += row.topic + ": " + row.questions.join(u'|') + u';';
        }
        QCOMPARE(found, plan);
    }

    void recordsAreEqualByTextAndTellApartById() {
        const auto object = json::parse(R"({"D":[{"question":"a","justification":"x"}]})").as_object();
        const auto first = InterviewQuestion::parse(object).first();
        auto second = InterviewQuestion::parse(object).first();
        QCOMPARE(first, second);
        QVERIFY(first.id != second.id);
        second.justification = QStringLiteral("other");
        QCOMPARE(first, second);
        second.question = QStringLiteral("b");
        QVERIFY(!(first == second));
        QVERIFY(InterviewPlanTopic::parse(object).first().id != InterviewPlanTopic::parse(object).first().id);
    }

    void displayTextIsClean_data() {
        const auto row = rows<QString, QString>();
        row("note and empty parentheses", "System design [Senior] ( )", "System design");
        row("note in the middle", "A [x] B", "A B");
        row("runs of blanks and line breaks", "  a \n\n b  c ", "a b c");
        row("unclosed bracket stays", "a [b", "a [b");
        row("nested brackets close at the first", "[a[b]c]", "c]");
        row("filled parentheses stay", "a (b)", "a (b)");
        row("no-break space before a note", "a\u00a0[b]", "a");
    }
    void displayTextIsClean() {
        const auto [text, clean] = currentRow<QString, QString>();
        QCOMPARE(InterviewQuestion::cleanDisplayText(text), clean);
    }
};

QTEST_GUILESS_MAIN(InterviewModelsTest)
#include "InterviewModelsTest.moc"
