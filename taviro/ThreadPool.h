/// @file
/// The farm core's worker pool. Message handlers run on it in arrival order (one at a time);
/// other work may run in parallel.
#pragma once

#include <functional>

/// The worker pool of the farm core (see the file comment).
/// @ingroup taviro
class ThreadPool {
public:
    /// Starts the pool with this many threads (at least 1). False if it runs already.
    static bool Start(int threads);
    /// Stops taking work, runs what was posted, then ends the threads.
    static void Stop();
    static bool IsReady();
    /// Runs the task on some pool thread; false (task dropped) when the pool is not ready.
    static bool Post(std::function<void()> task);
    /// Runs the task after every task posted in order before it, never two at once.
    static bool PostOrdered(std::function<void()> task);
};
