#pragma once

#include <functional>

namespace takebox::test {

/// Runs the event loop until the condition holds. @return false when it does not hold within the
/// time, which is long enough for any machine: it is a bound for a broken program, not a duration.
[[nodiscard]] bool waitUntil(const std::function<bool()>& condition, int seconds = 60);

}  // namespace takebox::test
