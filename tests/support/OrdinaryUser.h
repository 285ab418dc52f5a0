#pragma once

#include <sys/syscall.h>
#include <unistd.h>

namespace takebox::test {

/// While it exists, this thread has no more rights than an ordinary user, also where the tests run
/// as root. What it is to reach must be open to everybody then.
class OrdinaryUser {
public:
    OrdinaryUser() { become(kNobody); }
    ~OrdinaryUser() { become(0); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    static constexpr uid_t kNobody = 65534;

    // The call itself, as the library's function would change every thread.
    void become(uid_t user) const {
        if (mIsRoot) {
            ::syscall(SYS_setresuid, user, user, 0);
        }
    }

    const bool mIsRoot = ::geteuid() == 0;
};

}  // namespace takebox::test
