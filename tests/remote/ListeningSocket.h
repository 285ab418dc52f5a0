#pragma once

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdint>

#include "remote/SocketHandle.h"

namespace takebox::test {

/// A socket that listens on a free port of 127.0.0.1.
class ListeningSocket {
public:
    explicit ListeningSocket(int backlog) : mSocket(socket(AF_INET, SOCK_STREAM, 0)) {
        mAddress.sin_family = AF_INET;
        mAddress.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(mSocket.get(), address(), sizeof mAddress), 0);
        EXPECT_EQ(listen(mSocket.get(), backlog), 0);
        socklen_t length = sizeof mAddress;
        getsockname(mSocket.get(), reinterpret_cast<sockaddr*>(&mAddress), &length);
    }

    [[nodiscard]] int get() const { return mSocket.get(); }
    [[nodiscard]] std::uint16_t port() const { return ntohs(mAddress.sin_port); }
    [[nodiscard]] const sockaddr* address() const {
        return reinterpret_cast<const sockaddr*>(&mAddress);
    }
    [[nodiscard]] static socklen_t length() { return sizeof(sockaddr_in); }

private:
    sockaddr_in mAddress{};
    SocketHandle mSocket;
};

/// A listening socket that answers no further connection attempt: its queue is full.
class SilentAddress {
public:
    SilentAddress() : mSocket(0), mFilling(socket(AF_INET, SOCK_STREAM, 0)) {
        EXPECT_EQ(connect(mFilling.get(), mSocket.address(), ListeningSocket::length()), 0);
    }
    [[nodiscard]] const ListeningSocket& socketThere() const { return mSocket; }

private:
    ListeningSocket mSocket;
    SocketHandle mFilling;
};

}  // namespace takebox::test
