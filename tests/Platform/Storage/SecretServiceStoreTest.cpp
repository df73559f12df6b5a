#include "Platform/Storage/SecretStore.h"
#include "sandbox/desktop/PrivateSession.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/WaitFor.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QtDBus>

using platform::SecretStore;
using Status = SecretStore::Status;

namespace {

const QString service = QStringLiteral("com.example.test");
const QString name = QStringLiteral("token");
const QString password = QStringLiteral("pw");

// In place of what asks for the keyring's password on a desktop: counts and dismisses the prompts, and
// answers nothing else.
class DismissingPrompter : public QDBusVirtualObject {
public:
    int count = 0;

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override {
        if (message.member() == u"BeginPrompting") {
            ++count;
            connection.send(message.createErrorReply(QDBusError::Failed, "dismissed"));
        }
        return true;
    }
};

} // namespace

// Against a real keyring on a bus of its own.
class SecretServiceStoreTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        QCoreApplication::setApplicationName("Corvane Lumetra");
        m_session = std::make_unique<PrivateSession>();
        QVERIFY(m_session->startBus());
        m_log = std::make_unique<LogCapture>();
    }
    void cleanup() {
        m_store.reset();
        m_log.reset();
        QDBusConnection::disconnectFromBus(busName);
        m_session.reset();
    }

    void keepsExactlyOneItemOverARestart() {
        QVERIFY(startKeyringAndStore());
        QCOMPARE(read().status, Status::notFound);
        QCOMPARE(m_store->erase(service, name), Status::notFound);
        QCOMPARE(m_store->write(service, name, "first"), Status::ok);
        QCOMPARE(read().value, "first");
        QCOMPARE(m_store->write(service, name, "second"), Status::ok);
        QCOMPARE(m_store->write(service, "other", "\xff\x00\xc3"_qba), Status::ok);
        QCOMPARE(m_store->write("com.example.else", name, "theirs"), Status::ok);
        m_store.reset();
        QCOMPARE(itemLabels(), QStringList{"Corvane Lumetra: token"});

        m_session->stopKeyring();
        QVERIFY(startKeyringAndStore());
        QCOMPARE(read().status, Status::ok);
        QCOMPARE(read().value, "second");
        QCOMPARE(m_store->read(service, "other").value, "\xff\x00\xc3"_qba);
        QCOMPARE(m_store->erase(service, name), Status::ok);
        QCOMPARE(read().status, Status::notFound);
        QVERIFY(waitUntil([this] { return itemLabels().isEmpty(); }));
        QCOMPARE(m_store->read("com.example.else", name).value, "theirs");
        QCOMPARE(m_log->lines(), QStringList());
    }

    void aLockedCollectionKeepsItsItemAndTellsOfItsUnlocking() {
        QVERIFY(startKeyringAndStore());
        m_store->write(service, name, "kept");
        makeStore();
        QSignalSpy unlocked(m_store.get(), &SecretStore::unlocked);
        QVERIFY(m_session->lockKeyring());
        QCOMPARE(read().status, Status::locked);
        QCOMPARE(m_store->read(service, "unknown").status, Status::locked);
        QVERIFY(m_session->unlockKeyring(password));
        QVERIFY(waitUntil([&] { return unlocked.count() == 1; }));
        QCOMPARE(read().value, "kept");

        m_session->stopKeyring();
        QVERIFY(m_session->startKeyring({}));
        QVERIFY(waitUntil([this] { return m_log->contains("is back"); }));
        QCOMPARE(read().status, Status::locked);
        unlocked.clear();
        QVERIFY(m_session->unlockKeyring(password));
        QVERIFY(waitUntil([&] { return unlocked.count() == 1; }));
        QCOMPARE(read().value, "kept");
    }

    void oneActionMakesOnePrompt() {
        QVERIFY(m_session->startKeyring(password));
        DismissingPrompter prompter;
        QVERIFY(serve("org.gnome.keyring.SystemPrompter", prompter));
        makeStore();
        QVERIFY(m_session->lockKeyring());
        for (const char* item : {"token", "session", "mail"}) {
            m_store->write(service, QString::fromLatin1(item), item);
        }
        QVERIFY(waitUntil([this] { return m_log->contains("[Secrets]"); }));
        QCOMPARE(read().status, Status::ok);
        QCOMPARE(m_log->lines().size(), 1);
        // The next prompt is the second.
        QSignalSpy ended(m_store.get(), &SecretStore::unlockingEnded);
        m_store->unlock();
        QVERIFY(waitUntil([&] { return ended.count() == 1; }));
        QCOMPARE(prompter.count, 2);

        QVERIFY(m_session->unlockKeyring(password));
        QVERIFY(waitUntil([this] { return itemLabels().size() == 1; }));
        makeStore();
        for (const char* item : {"token", "session", "mail"}) {
            QCOMPARE(m_store->read(service, QString::fromLatin1(item)).value, item);
        }
        QCOMPARE(prompter.count, 2);
    }

    void aServiceThatDiesIsTakenUpWhenItIsBack() {
        QVERIFY(startKeyringAndStore());
        m_store->write(service, name, "kept");
        QVERIFY(waitUntil([this] { return itemLabels().size() == 1; }));
        QSignalSpy unlocked(m_store.get(), &SecretStore::unlocked);
        m_session->killKeyring();
        QVERIFY(waitUntil([this] { return m_log->contains("went away"); }));
        QCOMPARE(read().status, Status::locked);
        QCOMPARE(m_store->write(service, "new", "while away"), Status::locked);
        QCOMPARE(m_store->read(service, "new").value, "while away");

        QVERIFY(m_session->startKeyring(password));
        QVERIFY(waitUntil([&] { return unlocked.count() == 1; }));
        QCOMPARE(read().value, "kept");
        makeStore();
        QCOMPARE(m_store->read(service, "new").value, "while away");
        QCOMPARE(m_log->lines().size(), 2);
    }

    void withoutAServiceValuesLiveInMemoryAndMoveInWhenOneComes() {
        makeStore();
        QCOMPARE(read().status, Status::absent);
        QCOMPARE(m_store->write(service, name, "memory"), Status::absent);
        QCOMPARE(read().status, Status::absent);
        QCOMPARE(read().value, "memory");
        m_store->write(service, "gone", "soon");
        QCOMPARE(m_store->erase(service, "gone"), Status::ok);
        QCOMPARE(m_store->erase(service, "gone"), Status::absent);
        QCOMPARE(m_log->count("[Secrets] No secret service on this desktop"), 1);
        QCOMPARE(m_log->lines().size(), 1);

        QSignalSpy unlocked(m_store.get(), &SecretStore::unlocked);
        QVERIFY(m_session->startKeyring(password));
        QVERIFY(waitUntil([&] { return unlocked.count() == 1; }));
        makeStore();
        QCOMPARE(read().status, Status::ok);
        QCOMPARE(read().value, "memory");
        QCOMPARE(m_store->read(service, "gone").status, Status::notFound);
    }

    void whatWasDeletedWithoutAServiceIsDeletedInTheOneThatComes() {
        QVERIFY(startKeyringAndStore());
        m_store->write(service, name, "older");
        m_store->write(service, "kept", "kept");
        m_store.reset();
        m_session->stopKeyring();

        makeStore();
        QCOMPARE(m_store->erase(service, name), Status::absent);
        QSignalSpy unlocked(m_store.get(), &SecretStore::unlocked);
        QVERIFY(m_session->startKeyring(password));
        QVERIFY(waitUntil([&] { return unlocked.count() == 1; }));
        QCOMPARE(read().status, Status::notFound);
        QCOMPARE(m_store->read(service, "kept").value, "kept");
        makeStore();
        QCOMPARE(read().status, Status::notFound);
        QCOMPARE(m_log->lines().size(), 2);
    }

    void asksForThePromptOnlyWhenItIsTold() {
        QVERIFY(m_session->startKeyring(password));
        DismissingPrompter prompter;
        QVERIFY(serve("org.gnome.keyring.SystemPrompter", prompter));
        makeStore();
        m_store->write(service, name, "kept");
        makeStore();
        QSignalSpy unlocked(m_store.get(), &SecretStore::unlocked);
        QSignalSpy ended(m_store.get(), &SecretStore::unlockingEnded);
        QVERIFY(m_session->lockKeyring());
        QCOMPARE(read().status, Status::locked);
        QCOMPARE(prompter.count, 0);
        m_store->unlock();
        QVERIFY(waitUntil([&] { return ended.count() == 1; }));
        QCOMPARE(prompter.count, 1);
        QCOMPARE(read().status, Status::locked);
        QCOMPARE(unlocked.count(), 0);

        // Another program was quicker: there is nothing to ask for, but something to tell.
        QVERIFY(m_session->unlockKeyring(password));
        m_store->unlock();
        QVERIFY(waitUntil([&] { return ended.count() == 2; }));
        QVERIFY(unlocked.count() > 0);
        QCOMPARE(prompter.count, 1);
        QCOMPARE(read().value, "kept");
    }

    void aServiceThatDoesNotAnswerDoesNotHoldTheProgramUp() {
        // The name is taken by a program that never looks at its messages.
        DismissingPrompter silent;
        QVERIFY(serve("org.freedesktop.secrets", silent));
        makeStore();
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(read().status, Status::locked);
        }
        QCOMPARE(m_store->write(service, name, "memory"), Status::ok);
        QCOMPARE(read().value, "memory");
        QVERIFY2(timer.elapsed() < 3500, qPrintable(QString::number(timer.elapsed())));
    }

    // The last one: after it, on a busy machine, the library has been seen to keep its connection to the bus
    // that is gone, and to look for the next bus behind it.
    void whatIsReadAheadAnswersOneRead() {
        QVERIFY(startKeyringAndStore());
        m_store->write(service, name, "kept");
        makeStore();
        m_store->readAhead(service, {name, "unknown"});
        QCOMPARE(read().value, "kept");
        QCOMPARE(m_store->read(service, "unknown").status, Status::notFound);

        // Its answer is old by the time it is wanted.
        m_store->readAhead(service, {name});
        m_store->write(service, name, "changed");
        QVERIFY(waitUntil([this] { return itemLabels().size() == 1; }));
        QCOMPARE(read().value, "changed");
        QVERIFY(m_session->lockKeyring());
        m_store->readAhead(service, {name});
        QCOMPARE(m_store->read(service, "other").status, Status::locked); // and so was the one before it
        QVERIFY(m_session->unlockKeyring(password));
        QVERIFY(waitUntil([this] { return m_store->read(service, "other").status != Status::locked; }));
        QCOMPARE(read().status, Status::ok);
    }

private:
    void makeStore() {
        m_store.reset(); // carries out what is queued
        m_store = platform::makeSecretServiceStore();
    }
    bool startKeyringAndStore() {
        const bool started = m_session->startKeyring(password);
        makeStore();
        return started;
    }
    SecretStore::Reading read() { return m_store->read(service, name); }

    // A connection of this test, beside the store's.
    QDBusConnection bus() { return QDBusConnection::connectToBus(m_session->busAddress(), busName); }
    bool serve(const QString& busService, DismissingPrompter& object) {
        return bus().registerVirtualObject("/", &object, QDBusConnection::SubPath) &&
               bus().registerService(busService);
    }
    QVariant ask(const QString& path, const QString& interface, const QString& method,
                 const QVariantList& arguments) {
        auto message = QDBusMessage::createMethodCall("org.freedesktop.secrets", path, interface, method);
        message.setArguments(arguments);
        return bus().call(message).arguments().value(0);
    }
    // The labels of the unlocked items with the service and the name, as another program sees them.
    QStringList itemLabels() {
        qDBusRegisterMetaType<QMap<QString, QString>>();
        const QMap<QString, QString> attributes{{"service", service}, {"account", name}};
        const auto found = ask("/org/freedesktop/secrets", "org.freedesktop.Secret.Service", "SearchItems",
                               {QVariant::fromValue(attributes)});
        QStringList labels;
        for (const auto& path : qdbus_cast<QList<QDBusObjectPath>>(found)) {
            const auto label = ask(path.path(), "org.freedesktop.DBus.Properties", "Get",
                                   {"org.freedesktop.Secret.Item", "Label"});
            labels.append(qvariant_cast<QDBusVariant>(label).variant().toString());
        }
        return labels;
    }

    static inline const QString busName = QStringLiteral("test");
    std::unique_ptr<PrivateSession> m_session;
    std::unique_ptr<LogCapture> m_log;
    std::unique_ptr<SecretStore> m_store;
};

QTEST_GUILESS_MAIN(SecretServiceStoreTest)
#include "SecretServiceStoreTest.moc"
