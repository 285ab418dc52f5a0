#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

namespace takebox::test {

/// Limits the descriptors of the process for its lifetime.
class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t limit) {
        getrlimit(RLIMIT_NOFILE, &mBefore);
        const rlimit lower{limit, mBefore.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &lower), 0);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &mBefore); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit mBefore{};
};

/// The number that the next descriptor would get.
inline rlim_t nextDescriptor() {
    const int probe = dup(0);
    close(probe);
    return static_cast<rlim_t>(probe);
}

}  // namespace takebox::test
