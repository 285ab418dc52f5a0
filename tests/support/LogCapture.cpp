#include "LogCapture.h"

#include <algorithm>

#include "platform/log/Log.h"

namespace takebox::test {

LogCapture::LogCapture() {
    setLogSink([this](std::string_view line) {
        const std::lock_guard lock(mMutex);
        mLines.emplace_back(line);
    });
}

LogCapture::~LogCapture() {
    drainReceiveThreadLog();
    setLogSink(nullptr);
}

std::vector<std::string> LogCapture::lines() {
    drainReceiveThreadLog();
    const std::lock_guard lock(mMutex);
    return mLines;
}

int LogCapture::count(const std::string& line) {
    const auto all = lines();
    return static_cast<int>(std::count(all.begin(), all.end(), line));
}

bool LogCapture::containsText(const std::string& fragment) {
    const auto all = lines();
    return std::any_of(all.begin(), all.end(), [&](const std::string& line) {
        return line.find(fragment) != std::string::npos;
    });
}

void LogCapture::clear() {
    drainReceiveThreadLog();
    const std::lock_guard lock(mMutex);
    mLines.clear();
}

}  // namespace takebox::test
