#pragma once

#include <optional>

namespace corvane {

// How far the link has come. What the user sees of it are the service's observable fields.
enum class LinkState {
    closed,        // no connection is wanted
    fetchingToken, // no socket is open, and a token for the next one is on its way
    opening,       // a socket is opening
    open,
    replacing, // a socket is open, and a token for its successor is on its way
    lost,      // the last socket was lost or did not open; a countdown may lead on
    stopped,   // no token could be had, or the server refused it
};

enum class LinkEvent {
    wanted,   // somebody asks for a connection
    insisted, // somebody does not want to wait for what is under way
    tokenCame,
    tokenFailed,
    opened,
    ended,   // the socket was lost, or did not open
    refused, // the server does not accept the token
    disconnected,
};

// Where the event leads. Returns nullopt when the event means nothing in that state.
std::optional<LinkState> follow(LinkState state, LinkEvent event);

// A socket is open, or about to be, and has not been lost.
constexpr bool hasLiveSocket(LinkState state) {
    return state == LinkState::opening || state == LinkState::open || state == LinkState::replacing;
}

} // namespace corvane
