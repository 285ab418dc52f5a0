#pragma once

namespace takebox::avc {

/// Above desktop work, below the kernel's interrupt threads.
inline constexpr int kReceivePriority = 20;

/// To be called first on a thread of its own: names it (at most 15 characters) and leaves the
/// alarm signal to the main thread.
void setUpThread(const char* name);

/// Asks for real-time scheduling of the calling receive thread. Where the system refuses, one line
/// in the log says so, once in the life of the process. Does not wait.
void requestRealTimePriority();

}  // namespace takebox::avc
