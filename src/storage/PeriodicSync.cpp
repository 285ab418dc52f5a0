#include "storage/PeriodicSync.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>

#include "platform/log/Log.h"
#include "storage/WriterThreads.h"

namespace takebox {
namespace {

constexpr std::chrono::milliseconds kInterval{2000};

void synchronizeFolder(const std::filesystem::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        ::fsync(descriptor);  // not every file system can
        ::close(descriptor);
    }
}

}  // namespace

bool hasBeenRemoved(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 0;
}

std::shared_ptr<PeriodicSync> PeriodicSync::start(const std::string& path) {
    auto sync = std::make_shared<PeriodicSync>(Private{}, path);
    if (sync->mDescriptor >= 0) {
        WriterThreads::start("disk sync", [sync] { sync->run(); });
    }
    return sync;
}

PeriodicSync::PeriodicSync(Private, const std::string& path)
    : mPath(path), mDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}

PeriodicSync::~PeriodicSync() {
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
    }
}

void PeriodicSync::stop() {
    mMustGoOn = false;
    mWakeUp.signal();
}

void PeriodicSync::run() {
    const std::filesystem::path folder = std::filesystem::path(mPath).parent_path();
    synchronizeFolder(folder);
    synchronizeFolder(folder.parent_path());
    bool hasFailed = false;
    bool isRemoved = false;
    while (mMustGoOn) {
        mWakeUp.waitFor(kInterval);
        if (!isRemoved && hasBeenRemoved(mDescriptor)) {
            isRemoved = true;
            logMessage("%s has been removed while it is being recorded: stop and start anew",
                       mPath.c_str());
        }
        if (mMustGoOn && ::fdatasync(mDescriptor) != 0 && !hasFailed) {
            hasFailed = true;
            logMessage("Cannot flush %s: %s", mPath.c_str(), strerror(errno));
        }
    }
}

}  // namespace takebox
