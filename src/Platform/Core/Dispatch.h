#pragma once

#include <QObject>

#include <functional>

namespace platform {

// Queues `work` on the main thread. May be called on any thread. Does nothing if the application object is
// gone by then.
void dispatchToMain(std::function<void()> work);

// The same, but `work` does not run if `context`, an object of the main thread, is destroyed first. Call it
// only while `context` is certain to be alive.
void dispatchToMain(QObject* context, std::function<void()> work);

bool isMainThread();

} // namespace platform
