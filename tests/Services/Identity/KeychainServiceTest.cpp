#include "IdentityFixture.h"

#include <QSignalSpy>
#include <QTest>

using platform::Secret;

class KeychainServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void savingReplacesTheOneItemOfThisService() {
        MemorySecretStore store;
        store.items.insert({"another", key}, "theirs");
        KeychainService keychain(service, store);
        QVERIFY(!keychain.get(key));
        keychain.save(key, Secret("old"));
        keychain.save(key, Secret("né\uFEFFw"));
        QCOMPARE(store.items.size(), 2);
        QCOMPARE(keychain.get(key), Secret("né\uFEFFw"));
        QVERIFY(keychain.remove(key));
        QVERIFY(!keychain.remove(key));
        QCOMPARE(store.items.keys(), QList({MemorySecretStore::Key("another", key)}));
    }

    void onlyUtf8GoesInAndComesOut() {
        MemorySecretStore store;
        KeychainService keychain(service, store);
        store.items.insert({service, key}, "a\xff");
        QVERIFY(!keychain.get(key));
        store.items.insert({service, key}, "");
        QCOMPARE(keychain.get(key), Secret(QLatin1String("")));
        keychain.save(key, Secret("kept"));
        keychain.save(key, Secret(QString(QChar(0xD800))));
        QCOMPARE(keychain.get(key), Secret("kept"));
    }

    void aLockedItemIsNotAMissingOne() {
        MemorySecretStore store;
        KeychainService keychain(service, store);
        QSignalSpy unlocked(&keychain, &KeychainService::unlocked);
        store.items.insert({service, key}, "value");
        QVERIFY(!keychain.isLocked(key));
        for (const auto condition : {Status::locked, Status::refused, Status::absent}) {
            store.setCondition(condition);
            QVERIFY(!keychain.get(key));
            QCOMPARE(keychain.isLocked(key), condition == Status::locked);
        }
        store.setCondition(Status::ok);
        QCOMPARE(unlocked.count(), 1);
        QCOMPARE(keychain.get(key), Secret("value"));
    }

private:
    using Status = platform::SecretStore::Status;
    const QString service = QStringLiteral("com.corvane.interview-assistant");
    const QString key = QStringLiteral("clerk_client_token");
};

QTEST_GUILESS_MAIN(KeychainServiceTest)
#include "KeychainServiceTest.moc"
