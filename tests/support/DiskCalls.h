#pragma once

#include <functional>
#include <utility>

/// A program that compiles DiskCalls.cpp makes these system calls as its tests tell it to.
namespace takebox::test {

/// Stands for fdatasync() as long as it exists; the call returns 0, or -1 and sets errno. Called on
/// the thread that flushes.
class FakeFlush {
public:
    explicit FakeFlush(std::function<int()> flush);
    ~FakeFlush();
    FakeFlush(const FakeFlush&) = delete;
    FakeFlush& operator=(const FakeFlush&) = delete;
};

/// Makes fchmod() fail, as on a file system without permissions, as long as it exists.
class NoPermissions {
public:
    explicit NoPermissions(int error);
    ~NoPermissions();
    NoPermissions(const NoPermissions&) = delete;
    NoPermissions& operator=(const NoPermissions&) = delete;
};

}  // namespace takebox::test
