#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

namespace takebox::test {

/// While it exists the superuser, too, is told that files may not be used whose permissions say so:
/// access() asks for the real user. What is done to files all the same is done with full rights.
class OrdinaryUser {
public:
    OrdinaryUser() : mUser(::getuid()) { set(mUser == 0 ? kNobody : mUser); }
    ~OrdinaryUser() { set(mUser); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    static constexpr uid_t kNobody = 65534;

    static void set(uid_t user) { EXPECT_EQ(::setreuid(user, ::geteuid()), 0); }

    uid_t mUser;
};

}  // namespace takebox::test
