#include "sandbox/desktop/PrivateSession.h"
#include "tests/Desktop/DesktopTest.h"
#include "tests/Desktop/Faces.h"

#include <QQuickItem>

using namespace corvane;

namespace {

const QString threeLines =
    QStringLiteral("The sign-in service did not take this. Wait for a moment, then ask for a "
                   "new code, and look into the folder for unwanted mail as well before you "
                   "write to your administrator about it.");

QByteArray refusal(const QByteArray& code, const QString& message) {
    return R"({"errors":[{"code":")" + code + R"(","message":")" + message.toUtf8() + "\"}]}";
}

// As the keyboard sends a key that is held down.
void hold(QWindow& window, Qt::Key key) {
    for (int i = 0; i < 5; ++i) {
        QKeyEvent repeated(QEvent::KeyPress, key, Qt::NoModifier, QStringLiteral("\r"), i > 0);
        QCoreApplication::sendEvent(&window, &repeated);
    }
}

} // namespace

class SignInCardTest : public DesktopTest {
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private Q_SLOTS:
    void theSmallestWindowShowsTheWholeCard() {
        for (const bool isLocked : {false, true}) {
            const auto* face = isLocked ? "sign-in, keyring locked" : "sign-in, code";
            Desk desk(m_hands, faceCalled(face));
            auto& window = *desk.window();
            window.resize(window.minimumSize());
            QVERIFY(waitUntil([&] { return window.size() == window.minimumSize(); }));
            desk.identityHttp->answer(422, refusal("x", threeLines));
            desk.settle();
            if (isLocked) {
                desk.type("nobody@example.com");
            }
            QTest::keyClick(&window, Qt::Key_Return);
            QVERIFY(showsUp(threeLines));
            QTest::qWait(100); // the layout has come to rest
            QVERIFY(m_hands.find(threeLines)->height() > 40);
            for (const auto& name : m_hands.names()) {
                if (name == window.title()) {
                    continue; // with the frame around it
                }
                QVERIFY2(window.geometry().contains(*m_hands.find(name)), qPrintable(name));
            }
            QVERIFY(window.activeFocusItem()->inherits("QQuickTextField") ||
                    window.activeFocusItem()->inherits("QQuickTextInput"));
        }
    }

    void aKeyThatIsHeldDownPressesOnce() {
        Desk desk(m_hands, faceCalled("sign-in, address"));
        desk.identityHttp->answer(422, refusal("form_identifier_not_found", "x"));
        hold(*desk.window(), Qt::Key_Return);
        QVERIFY(showsUp("Open Corvane Platform"));
        QCOMPARE(desk.identityHttp->requests().size(), 1);
        const auto* button = desk.window()->activeFocusItem();
        QVERIFY(button->property("visualFocus").toBool());
        QCOMPARE(desk.access->opened.size(), 0);
        hold(*desk.window(), Qt::Key_Return);
        QCOMPARE(desk.access->opened.size(), 1);
    }

    void aLetterInsideTheCodeKeepsTheCursor() {
        Desk desk(m_hands, faceCalled("sign-in, code"));
        auto& window = *desk.window();
        QTest::keyClick(&window, Qt::Key_Home);
        QTest::keyClick(&window, Qt::Key_Right);
        QTest::keyClick(&window, Qt::Key_Delete);
        for (const auto& [key, text, cursor] :
             {std::tuple(Qt::Key_A, "13456", 1), {Qt::Key_2, "123456", 2}, {Qt::Key_9, "129345", 3}}) {
            QTest::keyClick(&window, key);
            QCOMPARE(window.activeFocusItem()->property("text").toString(), text);
            QCOMPARE(window.activeFocusItem()->property("cursorPosition").toInt(), cursor);
        }
    }
};

int main(int argc, char* argv[]) {
    return runOnDisplay<SignInCardTest>(argc, argv);
}

#include "SignInCardTest.moc"
