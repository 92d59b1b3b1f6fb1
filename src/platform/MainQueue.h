#pragma once

#include <functional>

// Runs work on the GUI thread's event loop, after what is already queued there.
namespace MainQueue {
void post(std::function<void()> work);
bool isMainThread();
}
