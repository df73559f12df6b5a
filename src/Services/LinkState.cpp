#include "Services/LinkState.h"

#include <algorithm>
#include <array>

namespace corvane {

namespace {

using S = LinkState;
using E = LinkEvent;

struct Row {
    S from;
    E event;
    S to;
};

constexpr std::array rows{
    Row{S::closed, E::wanted, S::fetchingToken},
    Row{S::closed, E::insisted, S::fetchingToken},
    Row{S::fetchingToken, E::insisted, S::fetchingToken},
    Row{S::fetchingToken, E::tokenCame, S::opening},
    Row{S::fetchingToken, E::tokenFailed, S::stopped},
    Row{S::opening, E::opened, S::open},
    Row{S::opening, E::ended, S::lost},
    Row{S::opening, E::refused, S::stopped},
    Row{S::open, E::wanted, S::replacing},
    Row{S::open, E::insisted, S::replacing},
    Row{S::open, E::ended, S::lost},
    Row{S::replacing, E::insisted, S::replacing},
    Row{S::replacing, E::tokenCame, S::opening},
    Row{S::replacing, E::tokenFailed, S::open},
    Row{S::replacing, E::ended, S::fetchingToken},
    Row{S::lost, E::wanted, S::fetchingToken},
    Row{S::lost, E::insisted, S::fetchingToken},
    Row{S::stopped, E::wanted, S::fetchingToken},
    Row{S::stopped, E::insisted, S::fetchingToken},
};

} // namespace

std::optional<LinkState> follow(LinkState state, LinkEvent event) {
    if (event == E::disconnected) {
        return S::closed;
    }
    const auto row = std::ranges::find_if(
        rows, [&](const Row& each) { return each.from == state && each.event == event; });
    return row == rows.end() ? std::nullopt : std::optional(row->to);
}

} // namespace corvane
