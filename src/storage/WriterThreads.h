#pragma once

#include <functional>

namespace takebox {

/// The threads that write recordings to disk. Each outlives the recording that started it until it
/// has written everything; the process waits for all of them before it ends.
class WriterThreads {
public:
    /// Runs the body on a thread of its own. What the body needs it keeps alive itself.
    /// @param name at most 15 characters, shown by debuggers and system tools.
    static void start(const char* name, std::function<void()> body);

    /// Blocks until every thread started so far has ended. Any thread but a writer's.
    static void waitUntilFinished();
};

}  // namespace takebox
