#pragma once

#include "Platform/Core/Completion.h"

#include <QList>
#include <QNetworkProxy>
#include <QUrl>

namespace platform {

// Returns the proxies that the system names for this web address now, best first. The system may have to
// fetch and run a script for that, so it is asked on a pool thread. Main thread; never resolved before the
// caller is back in the event loop.
Completion<QList<QNetworkProxy>> systemProxies(const QUrl& url);

} // namespace platform
