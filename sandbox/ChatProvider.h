// A chat-completion endpoint like those of language-model providers: the answer is a stream of server-sent
// events.
#pragma once

#include "sandbox/Http.h"
#include "sandbox/Ledger.h"

#include <chrono>

namespace sandbox {

inline constexpr std::string_view chatProviderPath = "/v1/chat/completions";

// `pace` is the pause between the words of the answer. Network thread only.
HttpReply answerChat(const HttpRequest& request, std::chrono::milliseconds pace, Ledger& ledger);

} // namespace sandbox
