// The control address: faults and settings by name, and what the stand-in has seen.
#pragma once

#include "sandbox/Http.h"

#include <boost/json/object.hpp>

#include <string_view>

namespace sandbox {

class Core;

// Carries out `action`. The result may be empty. Throws std::invalid_argument for an unknown action, and for
// a parameter that is unknown, missing or of the wrong type.
boost::json::object applyAction(Core& core, std::string_view action, const boost::json::object& parameters);

// Answers GET /state, GET /addresses, and POST /<action> with the parameters as a JSON object.
HttpReply control(Core& core, const HttpRequest& request);

// Returns addresses, keys, account and environment as one JSON object.
boost::json::object describeAddresses(const Core& core);

} // namespace sandbox
