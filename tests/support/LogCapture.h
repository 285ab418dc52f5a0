#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace takebox::test {

/// Collects the log lines of its lifetime instead of letting them out. Any thread.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// All lines so far, those of receive threads included.
    std::vector<std::string> lines();
    int count(const std::string& line);              ///< lines equal to this
    bool containsText(const std::string& fragment);  ///< in any line
    void clear();

private:
    std::mutex mMutex;  // guards mLines
    std::vector<std::string> mLines;
};

}  // namespace takebox::test
