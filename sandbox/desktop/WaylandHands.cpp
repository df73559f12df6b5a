#include "sandbox/desktop/WaylandHands.h"

namespace {

constexpr quint32 leftButton = 0x110;
const auto fixed = WaylandWire::fixed;

template<typename Integer>
QByteArray number(Integer value) {
    return WaylandWire::number(static_cast<quint32>(value));
}

// Request numbers.
namespace fakeInput {
constexpr quint16 authenticate = 0;
constexpr quint16 button = 2;
constexpr quint16 motionAbsolute = 9;
constexpr quint16 key = 10;
} // namespace fakeInput

namespace virtualPointer {
constexpr quint16 create = 0; // of the manager
constexpr quint16 motionAbsolute = 1;
constexpr quint16 button = 2;
constexpr quint16 frame = 4;
} // namespace virtualPointer

} // namespace

KWinHands::KWinHands(const QStringList& relay)
    : m_wire(relay)
    , m_input(m_wire.bind("org_kde_kwin_fake_input", 4)) {
    m_wire.send(m_input, fakeInput::authenticate, WaylandWire::text("tests") + WaylandWire::text("hands"));
    m_wire.roundTrip();
}

void KWinHands::movePointer(QPoint place) {
    m_wire.send(m_input, fakeInput::motionAbsolute, fixed(place.x()) + fixed(place.y()));
    m_wire.roundTrip();
}

void KWinHands::setButton(bool pressed) {
    m_wire.send(m_input, fakeInput::button, number(leftButton) + number(pressed ? 1 : 0));
    m_wire.roundTrip();
}

void KWinHands::press(const QList<KeyMove>& moves) {
    for (const auto& [code, down] : moves) {
        m_wire.send(m_input, fakeInput::key, number(code) + number(down ? 1 : 0));
    }
    m_wire.roundTrip();
}

WlrootsPointer::WlrootsPointer(const QStringList& relay, QSize desktop)
    : m_desktop(desktop)
    , m_wire(relay) {
    const auto manager = m_wire.bind("zwlr_virtual_pointer_manager_v1", 1);
    m_pointer = m_wire.newObject();
    const auto anySeat = number(0);
    m_wire.send(manager, virtualPointer::create, anySeat + number(m_pointer));
    m_wire.roundTrip();
}

void WlrootsPointer::movePointer(QPoint place) {
    m_wire.send(m_pointer, virtualPointer::motionAbsolute,
                number(0) + number(place.x()) + number(place.y()) + number(m_desktop.width()) +
                    number(m_desktop.height()));
    endFrame();
}

void WlrootsPointer::setButton(bool pressed) {
    m_wire.send(m_pointer, virtualPointer::button, number(0) + number(leftButton) + number(pressed ? 1 : 0));
    endFrame();
}

void WlrootsPointer::endFrame() {
    m_wire.send(m_pointer, virtualPointer::frame, {});
    m_wire.roundTrip();
}
