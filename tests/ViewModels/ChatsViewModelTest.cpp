#include "ChatsViewModel.h"
#include "DatabaseService.h"
#include "FakeClock.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

class ChatsViewModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void listsTheConversationsOfTheStartNewestFirst() {
        const QTemporaryDir folder;
        FakeClock clock;
        DatabaseService database(folder.path(), clock);
        const ChatsViewModel empty(database);
        const Conversation older{"conv_a", "New Chat", 1, 10};
        const Conversation newer{"conv_b", "New Chat", 1, 20};
        database.createConversation(older);
        database.createConversation(newer);
        QVERIFY(empty.conversations().isEmpty());

        ChatsViewModel model(database);
        QSignalSpy searchTextChanged(&model, &ChatsViewModel::searchTextChanged);
        model.setSearchText("nothing like it");
        model.setSearchText("nothing like it");
        QCOMPARE(searchTextChanged.count(), 1);
        QCOMPARE(model.property("conversations").value<QList<Conversation>>(), (QList{newer, older}));
    }
};

QTEST_GUILESS_MAIN(ChatsViewModelTest)
#include "ChatsViewModelTest.moc"
