#pragma once

#include <optional>

namespace corvane {

// The state of the link. What the user sees of it are the observable fields of WebSocketService.
enum class LinkState {
    closed,        // nobody wants a connection
    fetchingToken, // no socket is open, and a token for the next one is being fetched
    opening,       // a socket is opening
    open,
    replacing, // a socket is open, and a token for its successor is being fetched
    lost,      // the last socket was lost or did not open; a countdown may be running
    stopped,   // no token could be fetched, or the server refused it
};

enum class LinkEvent {
    wanted,   // a connection is asked for
    insisted, // the user or an event does not want to wait for what is under way
    tokenCame,
    tokenFailed,
    opened,
    ended,   // the socket was lost, or did not open
    refused, // the server does not accept the token
    disconnected,
};

// Returns the state that the event leads to, or nullopt when the event has no meaning in that state.
std::optional<LinkState> follow(LinkState state, LinkEvent event);

// Returns whether a socket is open, or being opened, and has not been lost.
constexpr bool hasLiveSocket(LinkState state) {
    return state == LinkState::opening || state == LinkState::open || state == LinkState::replacing;
}

} // namespace corvane
