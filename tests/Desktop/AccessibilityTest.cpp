#include "Services/ClerkAuthService.h"
#include "sandbox/desktop/PrivateSession.h"
#include "tests/Desktop/DesktopTest.h"
#include "tests/Desktop/Faces.h"
#include "tests/Desktop/ScreenReader.h"

#include <QAccessible>
#include <QQuickItem>
#include <QRegularExpression>

#include <cstdio>

using namespace corvane;

namespace {

using Node = ScreenReader::Node;

// A control that Tab stops at, and the window as it was then.
struct Stop {
    QString name;
    QString role;
    QRect place; // on the screen
    QImage picture;
};

QAccessibleInterface* focused(const QQuickWindow& window) {
    return QAccessible::queryAccessibleInterface(window.activeFocusItem());
}

// From control to control until it comes round.
QList<Stop> walk(QQuickWindow& window) {
    QList<Stop> stops;
    QList<const QQuickItem*> items;
    for (;;) {
        QTest::keyClick(&window, Qt::Key_Tab);
        const auto* item = window.activeFocusItem();
        if (!item || items.contains(item)) {
            return stops;
        }
        items.append(item);
        const auto picture = window.grabWindow();
        const auto* control = focused(window);
        stops.append({control ? control->text(QAccessible::Name) : QString(),
                      control ? QVariant::fromValue(control->role()).toString() : QString(),
                      control ? control->rect() : QRect(), picture});
    }
}

bool goTo(QQuickWindow& window, const QString& name) {
    for (int stop = 0; stop < 50; ++stop) {
        if (const auto* control = focused(window); control && control->text(QAccessible::Name) == name) {
            return true;
        }
        QTest::keyClick(&window, Qt::Key_Tab);
    }
    return false;
}

// Relative luminance as WCAG 2 defines it.
double luminance(QRgb color) {
    const auto linear = [](int channel) {
        const double part = channel / 255.0;
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(qRed(color)) + 0.7152 * linear(qGreen(color)) + 0.0722 * linear(qBlue(color));
}

// What the focus draws stands out by 3 to 1 against what is there without it, and is no less than a line
// around a square of 16 pixels: a text cursor alone is too little.
bool differs(const QImage& with, const QImage& without, const QRect& control) {
    constexpr int reach = 6;
    const auto area = control.adjusted(-reach, -reach, reach, reach) & with.rect() & without.rect();
    int pixels = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const auto before = luminance(without.pixel(x, y)) + 0.05;
            const auto after = luminance(with.pixel(x, y)) + 0.05;
            pixels += std::max(before / after, after / before) >= 3;
        }
    }
    return pixels >= 60;
}

// A way to use a control, by key and by assistive technology, and what changes by it.
struct Use {
    const char* face;
    const char* control;
    QList<Qt::Key> keys; // each of them does it
    const char* acted;   // the control that the action is for
    const char* action;
    QVariant (*state)(Desk&);
};

const QList<Qt::Key> pressKeys{Qt::Key_Return, Qt::Key_Space};
const QList<Use> uses{
    {"dashboard", "Audio", pressKeys, "Audio", "Press",
     [](Desk& desk) { return QVariant::fromValue(desk.app->dashboardViewModel().selectedPage()); }},
    {"account", "Sign out", pressKeys, "Sign out", "Press",
     [](Desk& desk) { return QVariant(desk.app->clerkAuthService().isSignedIn()); }},
    {"settings", "Always on Top", pressKeys, "Always on Top", "Toggle",
     [](Desk& desk) { return QVariant(desk.app->settingsViewModel().customizable().alwaysOnTop.isEnabled); }},
    {"settings",
     "Light",
     {Qt::Key_Right},
     "Dark",
     "Toggle",
     [](Desk& desk) { return QVariant::fromValue(desk.app->settingsViewModel().theme()); }},
    {"settings",
     "Transparency",
     {Qt::Key_Left},
     "Transparency",
     "Decrease",
     [](Desk& desk) { return QVariant(desk.app->settingsViewModel().transparency()); }},
    {"bar, plan", "Next topic", pressKeys, "Next topic", "Press",
     [](Desk& desk) { return QVariant(desk.interview().activePlanTopicIndex()); }},
    {"bar, assessment", "English", pressKeys, "English", "Toggle",
     [](Desk& desk) { return QVariant::fromValue(desk.bar().modes()->active()); }},
    {"bar, assessment", "MANUAL", pressKeys, "MANUAL", "Toggle",
     [](Desk& desk) { return QVariant(desk.interview().manualMode()); }},
    {"bar, pause or finish", "Cancel", pressKeys, "Cancel", "Press",
     [](Desk& desk) { return QVariant(desk.interview().showStopDialog()); }},
    {"bar, status", "Reconnecting", pressKeys, "Reconnecting", "Press",
     [](Desk& desk) { return QVariant(desk.bar().status()->showPopover()); }},
};

bool isUsable(const Node& node) {
    return node.focusable || !node.actions.isEmpty();
}

QString described(const Node& node) {
    return QStringLiteral("%1 \"%2\" at %3,%4")
        .arg(node.role, node.name)
        .arg(node.place.x())
        .arg(node.place.y());
}

bool isAmong(const QList<Stop>& stops, const Node& node) {
    return std::ranges::any_of(stops, [&](const Stop& stop) {
        return stop.name == node.name && stop.place.topLeft() == node.place.topLeft();
    });
}

// The texts under the item, without their markup.
QStringList textsIn(const QQuickItem* item) {
    if (!item->isVisible() || qFuzzyIsNull(item->opacity())) {
        return {};
    }
    QStringList texts;
    if (item->inherits("QQuickText")) {
        static const QRegularExpression tag("<[^>]*>");
        texts.append(item->property("text").toString().replace("<br>", " ").remove(tag).simplified());
    }
    for (const auto* child : item->childItems()) {
        texts += textsIn(child);
    }
    return texts;
}

} // namespace

class AccessibilityTest : public DesktopTest {
    Q_OBJECT

public:
    using DesktopTest::DesktopTest;

private:
    // Usable, but neither a stop of Tab nor, in a group with one stop for the arrows, beside one.
    bool isOutOfReach(const QList<Node>& nodes, const Node& node, const QList<Stop>& stops) const {
        if (isAmong(stops, node) || !m_hands.canUse(node.name)) {
            return false;
        }
        return node.role != u"radio button" || std::ranges::none_of(nodes, [&](const Node& other) {
                   return other.parent == node.parent && isAmong(stops, other);
               });
    }

    const ScreenReader m_reader{};

private Q_SLOTS:
    void everyControlIsNamedAndReached_data() {
        QTest::addColumn<int>("face");
        QTest::addColumn<bool>("dark");
        for (int face = 0; face < static_cast<int>(faces.size()); ++face) {
            for (const bool dark : {false, true}) {
                QTest::addRow("%s, %s", faces[static_cast<size_t>(face)].name, dark ? "dark" : "light")
                    << face << dark;
            }
        }
    }
    void everyControlIsNamedAndReached() {
        QFETCH(const int, face);
        QFETCH(const bool, dark);
        Desk desk(m_hands, faces[static_cast<size_t>(face)], dark);
        auto& window = *desk.window();
        const auto nodes = m_reader.read();
        const auto stops = walk(window);
        window.activeFocusItem()->setFocus(false);
        const auto unfocused = window.grabWindow();

        QStringList faults;
        QStringList spoken;
        for (const auto& node : nodes) {
            spoken << node.name.simplified() << node.description.simplified();
            if (!isUsable(node)) {
                continue;
            }
            if (node.name.isEmpty() || QStringList{"unknown", "filler", "invalid"}.contains(node.role)) {
                faults.append("without name or role: " + described(node));
            }
            if (isOutOfReach(nodes, node, stops)) {
                faults.append("not reached by Tab: " + described(node));
            }
        }
        for (const auto& text : textsIn(window.contentItem())) {
            if (!spoken.join(u'\n').contains(text)) {
                faults.append("not spoken: " + text);
            }
        }
        for (const auto& stop : stops) {
            const auto place = stop.place.translated(-window.position());
            if (!differs(stop.picture, unfocused, place)) {
                faults.append(QStringLiteral("focus is not seen: \"%1\"").arg(stop.name));
            }
        }
        QVERIFY2(faults.isEmpty(), qPrintable(faults.join(u'\n')));
    }

    void keysAndAssistiveTechnologyDoWhatAClickDoes_data() {
        QTest::addColumn<qsizetype>("use");
        for (qsizetype use = 0; use < uses.size(); ++use) {
            QTest::addRow("%s, %s", uses[use].face, uses[use].control) << use;
        }
    }
    void keysAndAssistiveTechnologyDoWhatAClickDoes() {
        QFETCH(const qsizetype, use);
        const auto& [face, control, keys, acted, action, state] = uses[use];
        const auto changesBy = [&, state = state](Desk& desk, const auto& act) {
            const auto before = state(desk);
            act();
            return waitUntil([&] { return state(desk) != before; });
        };
        for (const auto key : keys) {
            Desk desk(m_hands, faceCalled(face));
            QVERIFY(goTo(*desk.window(), control));
            QVERIFY2(changesBy(desk, [&] { QTest::keyClick(desk.window(), key); }),
                     qPrintable(QVariant::fromValue(key).toString()));
        }
        Desk desk(m_hands, faceCalled(face));
        QVERIFY2(changesBy(desk, [&] { m_reader.act(acted, action); }), action);
    }
};

int main(int argc, char* argv[]) {
    PrivateSession session;
    const QTemporaryDir services;
    QFile::copy("/usr/share/dbus-1/services/org.a11y.Bus.service", services.filePath("org.a11y.Bus.service"));
    if (!session.startBus(services.path())) {
        std::fputs("No bus: dbus-daemon did not start.\n", stderr);
        return 1;
    }
    qputenv("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1");
    // Tall enough for the longest page, so that nothing scrolls between two pictures.
    return runOnDisplay<AccessibilityTest>(argc, argv, {1280, 1600});
}

#include "AccessibilityTest.moc"
