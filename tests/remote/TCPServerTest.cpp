#include "remote/TCPServer.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <QDir>
#include <vector>

#include "LoopbackClient.h"
#include "remote/Command.h"
#include "remote/TCPConnection.h"
#include "remote/TCPListener.h"
#include "remote/TCPServerDelegate.h"
#include "support/DescriptorLimit.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

/// Answers each command with its word, or as the test wishes.
class Answerer : public TCPServerDelegate {
public:
    void receivedNewCommand(const std::shared_ptr<Command>& command) override {
        received.push_back(command);
        if (answer) {
            answer(*command);
        } else {
            command->setResponseString(command->commandString());
            command->sendResponse();
        }
    }

    std::vector<std::shared_ptr<Command>> received;
    std::function<void(Command&)> answer;
};

/// A server on a port of its own.
struct World {
    World() {
        server.setDelegate(&answerer);
        EXPECT_TRUE(server.start(nullptr));
    }

    [[nodiscard]] bool waitForConnections(std::size_t count) {
        return waitUntil([this, count] { return server.tcpConnections().size() == count; });
    }

    LogCapture log;
    Answerer answerer;
    TCPServer server;
};

/// Takes a port of one family.
class PortTaker {
public:
    explicit PortTaker(int family) : mSocket(socket(family, SOCK_STREAM, 0)) {
        const int on = 1;
        sockaddr_storage address{};
        address.ss_family = static_cast<sa_family_t>(family);
        if (family == AF_INET6) {
            setsockopt(mSocket.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
        }
        EXPECT_EQ(bind(mSocket.get(), reinterpret_cast<sockaddr*>(&address), length(family)), 0);
        EXPECT_EQ(listen(mSocket.get(), 1), 0);
        socklen_t size = sizeof address;
        getsockname(mSocket.get(), reinterpret_cast<sockaddr*>(&address), &size);
        // The port has the same place in both families.
        port = ntohs(reinterpret_cast<const sockaddr_in*>(&address)->sin_port);
    }

    std::uint16_t port = 0;

private:
    static socklen_t length(int family) {
        return family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6);
    }

    SocketHandle mSocket;
};

qsizetype openDescriptors() {
    return QDir(QStringLiteral("/proc/self/fd"))
        .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
        .size();
}

class TCPServerOver : public ::testing::TestWithParam<int> {
protected:
    World world;
};

INSTANTIATE_TEST_SUITE_P(BothFamilies, TCPServerOver, ::testing::Values(AF_INET, AF_INET6),
                         [](const auto& row) { return row.param == AF_INET ? "IPv4" : "IPv6"; });

TEST_P(TCPServerOver, answersAClient) {
    LoopbackClient client(GetParam(), world.server.port());
    client.send("status 2\r\n");
    EXPECT_EQ(client.receive(8), QByteArray("STATUS\x0A\x0D"));
    ASSERT_EQ(world.answerer.received.size(), 1U);
    EXPECT_EQ(world.answerer.received[0]->deviceIndex(), 1);
    EXPECT_TRUE(client.unread().isEmpty());
    EXPECT_EQ(world.log.count("Added connection."), 1);
}

TEST_P(TCPServerOver, takesTwoLinesInOnePacketAsOneCommand) {
    LoopbackClient client(GetParam(), world.server.port());
    client.send("status 1\nstatus 2\n");
    EXPECT_EQ(client.answer(), "STATUS");
    ASSERT_EQ(world.answerer.received.size(), 1U);
    EXPECT_EQ(world.answerer.received[0]->deviceIndex(), 0);
    EXPECT_EQ(world.answerer.received[0]->argument(), u"2"_s);
}

TEST_P(TCPServerOver, takesACommandInTwoPiecesAsTwoCommands) {
    LoopbackClient client(GetParam(), world.server.port());
    client.send("sta");
    EXPECT_EQ(client.answer(), "STA");
    client.send("tus 1\r\n");
    EXPECT_EQ(client.answer(), "TUS");
}

TEST_P(TCPServerOver, readsAtMost2048BytesAtOnce) {
    LoopbackClient client(GetParam(), world.server.port());
    client.send(QByteArray(2048 + 2048 + 904, 'x'));  // all there before the server reads
    client.answer();
    client.answer();
    client.answer();
    ASSERT_EQ(world.answerer.received.size(), 3U);
    EXPECT_EQ(world.answerer.received[0]->commandString().size(), 2048);
    EXPECT_EQ(world.answerer.received[1]->commandString().size(), 2048);
    EXPECT_EQ(world.answerer.received[2]->commandString().size(), 904);
}

TEST_P(TCPServerOver, survivesThousandsOfCommandsInOnePacket) {
    LoopbackClient client(GetParam(), world.server.port());
    client.send(QByteArray("status 1\n").repeated(5000));
    const auto reads = static_cast<std::size_t>((5000 * 9 + 2047) / 2048);
    EXPECT_TRUE(waitUntil([&] { return world.answerer.received.size() == reads; }));
    LoopbackClient other(GetParam(), world.server.port());
    EXPECT_EQ(other.ask("version"), "VERSION");
}

TEST_P(TCPServerOver, survivesGarbage) {
    LoopbackClient client(GetParam(), world.server.port());
    QByteArray garbage;
    for (int i = 0; i < 256; ++i) {
        garbage += static_cast<char>(i);
    }
    client.send(garbage);
    client.answer();
    client.send(QByteArray(100, '\0'));
    EXPECT_EQ(client.answer(), "");
    client.send("\r\n");
    EXPECT_EQ(client.answer(), "");
}

TEST_P(TCPServerOver, keepsAClientThatSaysNothing) {
    const LoopbackClient silent(GetParam(), world.server.port());
    LoopbackClient client(GetParam(), world.server.port());
    EXPECT_EQ(client.ask("version"), "VERSION");
    EXPECT_EQ(world.server.tcpConnections().size(), 2U);
}

TEST_P(TCPServerOver, forgetsAClientThatCloses) {
    LoopbackClient client(GetParam(), world.server.port());
    ASSERT_TRUE(world.waitForConnections(1));
    const std::weak_ptr<TCPConnection> connection = world.server.tcpConnections()[0];
    EXPECT_FALSE(connection.lock()->address().isEmpty());
    client.close();
    EXPECT_TRUE(world.waitForConnections(0));
    EXPECT_TRUE(connection.expired());
    EXPECT_EQ(world.log.count("Connection closed."), 1);
}

TEST_P(TCPServerOver, closesAfterAClientThatStopsSending) {
    LoopbackClient client(GetParam(), world.server.port());
    client.send("version\r\n");
    client.closeSending();
    EXPECT_TRUE(client.isClosedByServer());
    EXPECT_EQ(client.unread(), "VERSION\n\r");
}

TEST_P(TCPServerOver, forgetsAClientThatResets) {
    LoopbackClient client(GetParam(), world.server.port());
    ASSERT_TRUE(world.waitForConnections(1));
    client.reset();
    EXPECT_TRUE(world.waitForConnections(0));
}

TEST_P(TCPServerOver, raisesNoSignalWhenItAnswersAClientThatHasGone) {
    LoopbackClient client(GetParam(), world.server.port());
    ASSERT_TRUE(world.waitForConnections(1));
    const auto connection = world.server.tcpConnections()[0];
    client.reset();
    connection->addResponseToBuffer("first");   // finds the error and discards the bytes
    connection->addResponseToBuffer("second");  // would raise SIGPIPE
    EXPECT_TRUE(world.waitForConnections(0));
}

TEST_P(TCPServerOver, keepsNothingOfHundredsOfConnections) {
    const qsizetype before = openDescriptors();
    for (int i = 0; i < 500; ++i) {
        LoopbackClient client(GetParam(), world.server.port());
        ASSERT_TRUE(world.waitForConnections(1));
        client.reset();  // leaves no closing connections behind in the system
        ASSERT_TRUE(world.waitForConnections(0));
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_P(TCPServerOver, sendsALongAnswerWholeAsTheClientTakesIt) {
    QByteArray bytes;
    while (bytes.size() < 15 * 1024 * 1024) {
        bytes += QByteArray::number(bytes.size()) + ' ';
    }
    world.answerer.answer = [&](Command& command) {
        command.setResponseData(bytes);
        command.sendResponse();
    };
    LoopbackClient client(GetParam(), world.server.port());
    client.send("frame\r\n");
    EXPECT_TRUE(client.receive(bytes.size()) == bytes);
    world.answerer.answer = nullptr;
    EXPECT_EQ(client.ask("version"), "VERSION");
}

TEST_P(TCPServerOver, dropsAClientThatNeverReads) {
    world.answerer.answer = [](Command& command) {
        command.setResponseData(QByteArray(1024 * 1024, 'x'));
        command.sendResponse();
    };
    LoopbackClient client(GetParam(), world.server.port());
    ASSERT_TRUE(world.waitForConnections(1));
    // More than the server and both sockets may hold.
    EXPECT_TRUE(waitUntil([&] {
        client.send("frame\r\n");
        return world.server.tcpConnections().empty();
    }));
    EXPECT_TRUE(world.log.containsText("Dropping a client that does not read: "));
    EXPECT_TRUE(world.log.containsText("Connection closed."));
    world.answerer.answer = nullptr;
    LoopbackClient other(GetParam(), world.server.port());
    EXPECT_EQ(other.ask("version"), "VERSION");
}

TEST_P(TCPServerOver, closesAConnectionOnlyOnce) {
    LoopbackClient client(GetParam(), world.server.port());
    ASSERT_TRUE(world.waitForConnections(1));
    int closed = 0;
    const auto connection = world.server.tcpConnections()[0];
    connection->setClosedHandler([&closed] { ++closed; });
    connection->shutdownStreams();
    connection->shutdownStreams();
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(world.log.count("Connection closed."), 1);
    EXPECT_TRUE(client.isClosedByServer());
}

TEST_P(TCPServerOver, mayLoseAClientWhileItsCommandIsAnswered) {
    world.answerer.answer = [&](Command& command) {
        world.server.tcpConnections()[0]->shutdownStreams();
        command.setResponseString(u"too late"_s);
        command.sendResponse();
    };
    LoopbackClient client(GetParam(), world.server.port());
    client.send("version\r\n");
    EXPECT_TRUE(client.isClosedByServer());
    EXPECT_TRUE(client.unread().isEmpty());
    EXPECT_TRUE(world.waitForConnections(0));
}

TEST_P(TCPServerOver, leavesOpenConnectionsAloneWhenItStops) {
    LoopbackClient client(GetParam(), world.server.port());
    EXPECT_EQ(client.ask("version"), "VERSION");
    EXPECT_TRUE(world.server.stop());
    EXPECT_EQ(client.ask("count"), "COUNT");
}

TEST_P(TCPServerOver, letsClientsWaitWhileDescriptorsAreShort) {
    LoopbackClient first(GetParam(), world.server.port());
    EXPECT_EQ(first.ask("version"), "VERSION");
    LoopbackClient second(GetParam(), world.server.port());
    {
        const DescriptorLimit limit(nextDescriptor());
        EXPECT_TRUE(
            waitUntil([&] { return world.log.containsText("Cannot accept a client now"); }));
        EXPECT_EQ(first.ask("version"), "VERSION");
    }
    EXPECT_EQ(second.ask("version"), "VERSION");
    EXPECT_EQ(world.log.count("Cannot accept a client now: Too many open files"), 1);
}

TEST_P(TCPServerOver, leavesDescriptorsForWhatIsRecorded) {
    const rlim_t perSide = nextDescriptor() + 20;
    const DescriptorLimit limit(4 * perSide);
    std::vector<std::unique_ptr<LoopbackClient>> clients;  // each takes one here, too
    EXPECT_TRUE(waitUntil([&] {
        if (nextDescriptor() < 3 * perSide) {
            clients.push_back(std::make_unique<LoopbackClient>(GetParam(), world.server.port()));
        }
        return world.log.containsText("Cannot accept a client now: Too many open files");
    }));
    EXPECT_LT(world.server.tcpConnections().size(), clients.size());
    EXPECT_EQ(clients.front()->ask("version"), "VERSION");
    clients.erase(clients.begin(), clients.begin() + 10);
    EXPECT_EQ(clients.back()->ask("version"), "VERSION");  // its turn has come
}

TEST(TCPListener, knowsThePortThatTheSystemChose) {
    for (const int family : {AF_INET, AF_INET6}) {
        QByteArray address;
        TCPListener listener(
            family, [&address](const QByteArray& from, const SocketHandle&) { address = from; });
        ASSERT_TRUE(listener.bind(0));
        listener.startAccepting();
        const LoopbackClient client(family, listener.port());
        EXPECT_TRUE(waitUntil([&address] { return !address.isEmpty(); }));
    }
}

TEST(TCPServer, storesThePortThatTheSystemChose) {
    const World world;
    EXPECT_NE(world.server.port(), 0);
    LoopbackClient client(AF_INET, world.server.port());
    LoopbackClient client6(AF_INET6, world.server.port());
}

class TCPServerFailure : public ::testing::Test {
protected:
    /// The code of a start on the port, 0 when it succeeded.
    static int startOn(std::uint16_t port) {
        TCPServer server;
        server.setPort(port);
        TCPServerError error{};
        return server.start(&error) ? 0 : static_cast<int>(error);
    }

    LogCapture log;
};

TEST_F(TCPServerFailure, hasCode1WhenThePortIsTakenForIPv4) {
    const PortTaker taker(AF_INET);
    EXPECT_EQ(startOn(taker.port), 1);
}

TEST_F(TCPServerFailure, hasCode2WhenThePortIsTakenForIPv6AndFreesIPv4) {
    const PortTaker taker(AF_INET6);
    TCPServer server;
    server.setPort(taker.port);
    EXPECT_FALSE(server.start(nullptr));
    EXPECT_EQ(startOn(taker.port), 2);  // not 1: the failed server holds nothing
}

TEST_F(TCPServerFailure, hasCode3WhenASocketCannotBeMade) {
    const DescriptorLimit limit(nextDescriptor() + 1);
    EXPECT_EQ(startOn(0), 3);
}

TEST_F(TCPServerFailure, hasCode1WhenAnotherServerListens) {
    const World world;
    EXPECT_EQ(startOn(world.server.port()), 1);
}

TEST_F(TCPServerFailure, isDescribedByDomainAndCode) {
    EXPECT_EQ(description(TCPServerError::TCPServerErrorIPv4BindFailed),
              u"TCPServerErrorDomain error 1"_s);
}

TEST(TCPServer, canBeStartedAgain) {
    World world;
    EXPECT_TRUE(world.server.start(nullptr));
    LoopbackClient client(AF_INET, world.server.port());
    EXPECT_EQ(client.ask("version"), "VERSION");
}

TEST(TCPServer, closesItsConnectionsWhenItIsDestroyed) {
    LogCapture log;
    auto server = std::make_unique<TCPServer>();
    Answerer answerer;
    server->setDelegate(&answerer);
    ASSERT_TRUE(server->start(nullptr));
    LoopbackClient client(AF_INET, server->port());
    EXPECT_EQ(client.ask("version"), "VERSION");
    server.reset();
    EXPECT_TRUE(client.isClosedByServer());
    // The command has kept its connection.
    answerer.received[0]->sendResponse();
}

}  // namespace
}  // namespace takebox::test
