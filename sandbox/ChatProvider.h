// A chat-completion endpoint as providers of language models have it: the answer is a stream of server-sent
// events.
#pragma once

#include "sandbox/Http.h"
#include "sandbox/Ledger.h"

#include <chrono>

namespace sandbox {

inline constexpr std::string_view chatProviderPath = "/v1/chat/completions";

// Network thread only. `pace`: between the words of the answer.
HttpReply answerChat(const HttpRequest& request, std::chrono::milliseconds pace, Ledger& ledger);

} // namespace sandbox
