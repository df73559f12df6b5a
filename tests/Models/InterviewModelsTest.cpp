#include "InterviewModels.h"
#include "Json.h"

#include <QTest>

class InterviewModelsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void topicsParse_data();
    void topicsParse();
    void topicsKeepTheOrderOfTheDocument();
    void recordsAreEqualByTextAndTellApartById();
    void displayTextIsClean_data();
    void displayTextIsClean();
};

void InterviewModelsTest::topicsParse_data() {
    QTest::addColumn<QByteArray>("document");
    QTest::addColumn<QStringList>("questions"); // topic/question/justification
    QTest::addColumn<QStringList>("plan");      // topic: questions

    QTest::newRow("empty") << QByteArray("{}") << QStringList() << QStringList();
    QTest::newRow("one element that is no object drops the topic")
        << QByteArray(R"({"Design":[{"question":"Why?"},7],"Teamwork":[{"question":"Who?"}]})")
        << QStringList{QStringLiteral("Teamwork/Who?/")} << QStringList{QStringLiteral("Teamwork: Who?")};
    QTest::newRow("an element without a question drops alone")
        << QByteArray(
               R"({"Design":[{"question":"Why?","justification":"Depth"},{"text":"x"},{"question":null}]})")
        << QStringList{QStringLiteral("Design/Why?/Depth")} << QStringList{QStringLiteral("Design: Why?")};
    QTest::newRow("a value that is no array")
        << QByteArray(R"({"Design":"text"})") << QStringList() << QStringList();
    QTest::newRow("a topic without questions stays in the plan")
        << QByteArray(R"({"Design":[]})") << QStringList() << QStringList{QStringLiteral("Design: ")};
    QTest::newRow("a justification of another kind is empty")
        << QByteArray(R"({"D":[{"question":"a","justification":null},{"question":"b","justification":3}]})")
        << QStringList{QStringLiteral("D/a/"), QStringLiteral("D/b/")}
        << QStringList{QStringLiteral("D: a|b")};
}

void InterviewModelsTest::topicsParse() {
    QFETCH(QByteArray, document);
    QFETCH(QStringList, questions);
    QFETCH(QStringList, plan);
    const auto object = json::parse(document).as_object();

    QStringList found;
    for (const auto& row : InterviewQuestion::parse(object)) {
        found.append(row.topic + u'/' + row.question + u'/' + row.justification);
    }
    QCOMPARE(found, questions);
    found.clear();
    for (const auto& row : InterviewPlanTopic::parse(object)) {
        found.append(row.topic + QStringLiteral(": ") + row.questions.join(u'|'));
    }
    QCOMPARE(found, plan);
}

void InterviewModelsTest::topicsKeepTheOrderOfTheDocument() {
    boost::json::object object;
    QStringList topics;
    for (int i = 0; i < 200; ++i) {
        const auto topic = QStringLiteral("%1 topic").arg((i * 7919) % 1000);
        topics.append(topic);
        object[topic.toStdString()] = boost::json::array{boost::json::object{{"question", "Why?"}}};
    }
    const auto reread = json::parse(json::serialize(object)).as_object();
    QStringList plan;
    QStringList questions;
    for (const auto& row : InterviewPlanTopic::parse(reread)) {
        plan.append(row.topic);
    }
    for (const auto& row : InterviewQuestion::parse(reread)) {
        questions.append(row.topic);
    }
    QCOMPARE(plan, topics);
    QCOMPARE(questions, topics);
}

void InterviewModelsTest::recordsAreEqualByTextAndTellApartById() {
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

void InterviewModelsTest::displayTextIsClean_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("clean");
    QTest::newRow("note and empty parentheses") << "System design [Senior] ( )"
                                                << "System design";
    QTest::newRow("note in the middle") << "A [x] B"
                                        << "A B";
    QTest::newRow("runs of blanks and line breaks") << "  a \n\n b  c "
                                                    << "a b c";
    QTest::newRow("unclosed bracket stays") << "a [b"
                                            << "a [b";
    QTest::newRow("nested brackets close at the first") << "[a[b]c]"
                                                        << "c]";
    QTest::newRow("filled parentheses stay") << "a (b)"
                                             << "a (b)";
    QTest::newRow("no-break space before a note") << QStringLiteral("a\u00a0[b]") << "a";
}

void InterviewModelsTest::displayTextIsClean() {
    QFETCH(QString, text);
    QFETCH(QString, clean);
    QCOMPARE(InterviewQuestion::cleanDisplayText(text), clean);
}

QTEST_GUILESS_MAIN(InterviewModelsTest)
#include "InterviewModelsTest.moc"
