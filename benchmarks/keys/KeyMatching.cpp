// One key press of the whole session against the table of shortcuts, compared with parsing the table at each
// press and with Qt's own key sequences.

#include "Platform/Storage/DefaultsStore.h"
#include "Services/ShortcutService.h"
#include "benchmarks/Limit.h"
#include "tests/Support/FakeClock.h"
#include "tests/Support/FakeKeyMonitor.h"

#include <QKeySequence>

#include <array>

using namespace corvane;

namespace {

constexpr double limit = 2e-6; // seconds a press

struct Press {
    const char* name;
    platform::KeyEvent event;
    int qtKey;
    Qt::KeyboardModifiers qtModifiers;
    int fires; // shortcuts
};

// As a typist presses them, without repetitions.
const std::array presses{
    Press{"a letter", {.charactersIgnoringModifiers = QStringLiteral("e")}, Qt::Key_E, Qt::NoModifier, 0},
    Press{"the space bar",
          {.charactersIgnoringModifiers = QStringLiteral(" "), .keyCode = platform::keycode::space},
          Qt::Key_Space,
          Qt::NoModifier,
          1},
    Press{"Super+Shift+S",
          {.modifierFlags = platform::modifier::command | platform::modifier::shift,
           .charactersIgnoringModifiers = QStringLiteral("S")},
          Qt::Key_S,
          Qt::MetaModifier | Qt::ShiftModifier,
          1},
};

struct Counting : ShortcutServiceDelegate {
    void shortcutTriggered(ShortcutAction) override { ++fired; }
    qint64 fired = 0;
};

void finish(benchmark::State& state, qint64 fired) {
    const auto& press = presses.at(size_t(state.range(0)));
    state.SetLabel(press.name);
    if (fired != state.iterations() * press.fires) {
        state.SkipWithError("the key fired the wrong number of shortcuts");
    }
}

void matched(benchmark::State& state) {
    const auto defaults = platform::makeMemoryDefaultsStore();
    FakeKeyMonitor keys;
    FakeClock clock;
    Counting counting;
    ShortcutService service(counting, keys, *defaults, clock);
    service.registerAll();
    const auto event = presses.at(size_t(state.range(0))).event;
    for (auto _ : state) {
        keys.pressElsewhere(event);
    }
    finish(state, counting.fired);
    limitIteration(state, limit);
}

void parsedEachTime(benchmark::State& state) {
    const auto config = ShortcutsConfig::defaults();
    const auto event = presses.at(size_t(state.range(0))).event;
    qint64 fired = 0;
    for (auto _ : state) {
        const auto lowered = event.charactersIgnoringModifiers.toLower();
        for (const auto& binding : config.bindings) {
            if (binding.enabled && KeyString::parse(binding.key).matchesEvent(event, lowered)) {
                ++fired;
                break;
            }
        }
    }
    finish(state, fired);
}

void byQt(benchmark::State& state) {
    QList<QKeySequence> sequences;
    for (const auto action : allShortcutActions) {
        sequences.append(QKeySequence(defaultKey(action).replace("CmdOrCtrl", "Meta")));
    }
    const auto& press = presses.at(size_t(state.range(0)));
    qint64 fired = 0;
    for (auto _ : state) {
        const QKeySequence pressed(QKeyCombination(press.qtModifiers, Qt::Key(press.qtKey)));
        for (const auto& sequence : sequences) {
            if (sequence.matches(pressed) == QKeySequence::ExactMatch) {
                ++fired;
                break;
            }
        }
    }
    finish(state, fired);
}

BENCHMARK(matched)->DenseRange(0, int(presses.size()) - 1);
BENCHMARK(parsedEachTime)->DenseRange(0, int(presses.size()) - 1);
BENCHMARK(byQt)->DenseRange(0, int(presses.size()) - 1);

} // namespace
