#pragma once

namespace platform {

// From now on SIGINT and SIGTERM (the end of a session, a user's Control-C) end the event loop in good order.
void quitOnTerminationSignals();

} // namespace platform
