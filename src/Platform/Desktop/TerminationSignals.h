#pragma once

namespace platform {

// Makes SIGINT and SIGTERM (the end of a session, Control-C) end the event loop in good order.
void quitOnTerminationSignals();

} // namespace platform
