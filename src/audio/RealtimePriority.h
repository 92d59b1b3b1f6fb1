#pragma once

#include <pthread.h>
#include <sys/types.h>

// Asks for real-time scheduling of a thread that must keep up with the device: directly where
// the system allows it, else through rtkit on the system bus. A refusal leaves the thread at
// normal priority, silently: the ring ahead of the device still covers ordinary scheduling.
namespace RealtimePriority {
// Not from the thread itself: the bus call may take a while. `tid` is the kernel's thread id.
void request(pthread_t thread, pid_t tid);
// The calling thread's kernel id, for request().
pid_t currentThreadId();
}
