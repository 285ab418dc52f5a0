#include "remote/RemoteClient.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <QFile>
#include <QImage>
#include <functional>
#include <future>

#include "ListeningSocket.h"
#include "TestRecorder.h"
#include "remote/Command.h"
#include "remote/RemoteTools.h"
#include "remote/TCPConnection.h"
#include "remote/TCPServer.h"
#include "remote/TCPServerDelegate.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;

struct AddressText {
    QString text;
    QString host;
    std::uint16_t port;  ///< 0: the text is no address
};

class RemoteAddressText : public ::testing::TestWithParam<AddressText> {};

TEST_P(RemoteAddressText, isRead) {
    const auto address = RemoteAddress::fromText(GetParam().text);
    EXPECT_EQ(address.has_value(), GetParam().port != 0);
    if (address) {
        EXPECT_EQ(address->host, GetParam().host);
        EXPECT_EQ(address->port, GetParam().port);
    }
}

INSTANTIATE_TEST_SUITE_P(
    RemoteAddress, RemoteAddressText,
    ::testing::Values(AddressText{u"studio"_s, u"studio"_s, 1026},
                      AddressText{u"studio.local:4711"_s, u"studio.local"_s, 4711},
                      AddressText{u"127.0.0.1:1"_s, u"127.0.0.1"_s, 1},
                      AddressText{u"::1"_s, u"::1"_s, 1026},
                      AddressText{u"fe80::1%eth0"_s, u"fe80::1%eth0"_s, 1026},
                      AddressText{u"[::1]"_s, u"::1"_s, 1026},
                      AddressText{u"[::1]:65535"_s, u"::1"_s, 65535},
                      AddressText{u"studio:65536"_s, {}, 0}, AddressText{u"studio:0"_s, {}, 0},
                      AddressText{u"studio:"_s, {}, 0}, AddressText{u"studio:x"_s, {}, 0},
                      AddressText{u":1026"_s, {}, 0}, AddressText{u"[::1"_s, {}, 0},
                      AddressText{u"[::1]1026"_s, {}, 0}, AddressText{u"[]"_s, {}, 0},
                      AddressText{u""_s, {}, 0}));

/// Runs what blocks on a thread of its own while the server's event loop turns here.
template <typename Action>
auto beside(const Action& action) {
    auto result = std::async(std::launch::async, action);
    EXPECT_TRUE(
        waitUntil([&] { return result.wait_for(milliseconds(0)) == std::future_status::ready; }));
    return result.get();
}

/// Runs one of the command line's tools and returns its exit status and standard output.
std::pair<int, std::string> runTool(const std::function<int()>& tool) {
    testing::internal::CaptureStdout();
    const int status = beside(tool);
    return {status, testing::internal::GetCapturedStdout()};
}

/// A server that answers every command in the same way.
class FixedServer : public TCPServerDelegate {
public:
    explicit FixedServer(QByteArray answer) : mAnswer(std::move(answer)) {
        mServer.setDelegate(this);
        EXPECT_TRUE(mServer.start(nullptr));
    }
    void receivedNewCommand(const std::shared_ptr<Command>& command) override {
        received.append(command->commandString());
        command->setResponseData(mAnswer);
        command->sendResponse();
        if (hangsUp) {
            mServer.tcpConnections()[0]->shutdownStreams();
        }
    }
    [[nodiscard]] RemoteAddress address() const { return {u"127.0.0.1"_s, mServer.port()}; }

    QStringList received;
    bool hangsUp = false;

private:
    QByteArray mAnswer;
    LogCapture mLog;
    TCPServer mServer;
};

constexpr RemoteClient::TimeLimits kShort{milliseconds(1000), milliseconds(200), milliseconds(200)};

/// What a client gets from the server, and what it says of it.
std::pair<std::optional<QByteArray>, QString> askServer(const FixedServer& server,
                                                        const QByteArray& command) {
    return beside([&] {
        RemoteClient client(kShort);
        EXPECT_TRUE(client.connect(server.address()));
        auto answer = client.ask(command);
        return std::pair(answer, client.errorText());
    });
}

TEST(RemoteClient, getsAnAnswerWithoutItsEnd) {
    FixedServer server("two\nlines\n\r");
    EXPECT_EQ(askServer(server, "help").first, "two\nlines");
    EXPECT_EQ(server.received, QStringList(u"HELP"_s));
}

TEST(RemoteClient, givesUpOnAServerThatDoesNotAnswer) {
    const FixedServer server("");
    const auto [answer, error] = askServer(server, "status");
    EXPECT_FALSE(answer);
    EXPECT_EQ(error, u"the recorder did not answer in time"_s);
}

TEST(RemoteClient, noticesThatTheServerHangsUp) {
    FixedServer server("");
    server.hangsUp = true;
    for (const char* command : {"status", "frame"}) {
        const auto [answer, error] = askServer(server, command);
        EXPECT_FALSE(answer);
        EXPECT_EQ(error, u"the recorder closed the connection"_s);
    }
}

TEST(RemoteClient, asksNothingMoreOfAServerThatHasHungUp) {
    FixedServer server("");
    server.hangsUp = true;
    const auto errors = beside([&] {
        RemoteClient client(kShort);
        EXPECT_TRUE(client.connect(server.address()));
        QStringList texts;
        for (int i = 0; i < 3; ++i) {  // the last time the system refuses to send
            EXPECT_FALSE(client.ask("status"));
            texts.append(client.errorText());
        }
        return texts;
    });
    EXPECT_EQ(errors.count(u"the recorder closed the connection"_s), 3);
    EXPECT_EQ(server.received.size(), 1);
}

TEST(RemoteClient, takesAPictureUpToItsEndMarker) {
    const FixedServer server("\xFF\xD8 data \n\r more \xFF\xD9");
    EXPECT_EQ(askServer(server, "frame 1").first, "\xFF\xD8 data \n\r more \xFF\xD9");
}

TEST(RemoteClient, takesSilenceForNoPicture) {
    const FixedServer server("");
    EXPECT_EQ(askServer(server, "FRAME 1").first, QByteArray());
}

TEST(RemoteClient, refusesHalfAPicture) {
    const FixedServer server("\xFF\xD8 data");
    const auto [answer, error] = askServer(server, "frame 1");
    EXPECT_FALSE(answer);
    EXPECT_EQ(error, u"the picture did not come whole"_s);
}

TEST(RemoteClient, takesATextForAnswerToFrame) {
    const FixedServer server("INCORRECT INDEX\n\r");
    EXPECT_EQ(askServer(server, "frame 8").first, "INCORRECT INDEX");
}

TEST(RemoteClient, sendsNoCommandThatTheServerWouldReadInPieces) {
    FixedServer server("OK\n\r");
    EXPECT_FALSE(askServer(server, QByteArray(2047, 'x')).first);
    EXPECT_TRUE(server.received.isEmpty());
    EXPECT_EQ(askServer(server, QByteArray(2046, 'x')).first, "OK");
}

TEST(RemoteClient, saysWhyItCannotConnect) {
    std::uint16_t port = 0;
    { port = FixedServer("").address().port; }
    RemoteClient client;
    EXPECT_FALSE(client.connect({u"127.0.0.1"_s, port}));
    EXPECT_EQ(client.errorText(),
              u"127.0.0.1 does not accept a connection on port %1: %2"_s.arg(port).arg(
                  u"Connection refused"_s));
}

TEST(RemoteClient, saysThatItsRecorderIsNotKnown) {
    RemoteClient client;
    // No name has an empty part, so nobody is asked for it.
    EXPECT_FALSE(client.connect({u"recorder..invalid"_s, 1026}));
    EXPECT_TRUE(client.errorText().startsWith(u"recorder..invalid is not known: "_s))
        << client.errorText().toStdString();
}

TEST(RemoteClient, saysThatNoNetworkLeadsToItsRecorder) {
    RemoteClient client;
    EXPECT_FALSE(client.connect({u"255.255.255.255"_s, 1026}));  // no connection leads to everybody
    EXPECT_EQ(
        client.errorText(),
        u"255.255.255.255 does not accept a connection on port 1026: Network is unreachable"_s);
}

TEST(RemoteClient, givesUpOnAnAddressThatDoesNotAnswer) {
    const SilentAddress silent;
    RemoteClient client({milliseconds(50), milliseconds(50), milliseconds(50)});
    EXPECT_FALSE(client.connect({u"127.0.0.1"_s, silent.socketThere().port()}));
    EXPECT_EQ(client.errorText(),
              u"127.0.0.1 does not accept a connection on port %1: Connection timed out"_s.arg(
                  silent.socketThere().port()));
}

/// The tools against a whole recorder.
class RemoteTool : public ::testing::TestWithParam<QString> {
protected:
    std::pair<int, std::string> run(const QStringList& words) {
        const QString host = GetParam().arg(mRecorder.port());
        return runTool([&] { return runRemoteCommand(QStringList(host) + words); });
    }

    LogCapture mLog;
    TestRecorder mRecorder{{u"pal,name=Studio deck"_s}};
};

INSTANTIATE_TEST_SUITE_P(BothFamilies, RemoteTool,
                         ::testing::Values(u"127.0.0.1:%1"_s, u"[::1]:%1"_s));

using Result = std::pair<int, std::string>;

TEST_P(RemoteTool, printsTheAnswer) {
    EXPECT_EQ(run({u"devicename"_s, u"1"_s}), Result(0, "Studio deck\n"));
    EXPECT_EQ(run({u"setrecname"_s, u"1"_s, u"My  Take"_s}), Result(0, "OK\n"));
    EXPECT_EQ(run({u"recname 1"_s}), Result(0, "My  Take\n"));
}

TEST_P(RemoteTool, failsWhenTheCommandIsRefused) {
    EXPECT_EQ(run({u"status"_s, u"2"_s}), Result(1, "INCORRECT INDEX\n"));
    EXPECT_EQ(run({u"dance"_s}), Result(1, "UNKNOWN COMMAND\n"));
    EXPECT_EQ(run({u"frame"_s, u"2"_s}), Result(1, "INCORRECT INDEX\n"));
}

TEST_P(RemoteTool, writesThePictureToAFile) {
    ASSERT_TRUE(
        waitUntil([&] { return !mRecorder.controller(0).device()->JPEGPreviewData().isEmpty(); }));
    const QString path = mRecorder.folder() + u"/still.jpg"_s;
    EXPECT_EQ(run({u"frame"_s, u"1"_s, path}).first, 0);
    EXPECT_EQ(QImage(path).height(), 135);
}

TEST_P(RemoteTool, writesThePictureToTheStandardOutput) {
    ASSERT_TRUE(
        waitUntil([&] { return !mRecorder.controller(0).device()->JPEGPreviewData().isEmpty(); }));
    const auto [status, output] = run({u"frame"_s, u"1"_s, u"-"_s});
    EXPECT_EQ(status, 0);
    EXPECT_EQ(QImage::fromData(QByteArray::fromStdString(output), "JPG").height(), 135);
    EXPECT_TRUE(output.ends_with("\xFF\xD9")) << "nothing but the picture";
}

TEST_P(RemoteTool, saysThatThePictureCannotBeWritten) {
    ASSERT_TRUE(
        waitUntil([&] { return !mRecorder.controller(0).device()->JPEGPreviewData().isEmpty(); }));
    const QString path = mRecorder.folder() + u"/none/still.jpg"_s;
    testing::internal::CaptureStderr();
    EXPECT_EQ(run({u"frame"_s, u"1"_s, path}), Result(2, ""));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "takebox: could not write " + path.toStdString() + ": No such file or directory.\n");
}

TEST_P(RemoteTool, failsWhenItCannotAsk) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(runRemoteCommand({u"127.0.0.1"_s}), 2);
    EXPECT_EQ(runRemoteCommand({u"127.0.0.1:x"_s, u"status"_s}), 2);
    EXPECT_EQ(runRemoteCommand({u""_s, u"status"_s}), 2);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

/// Runs `--remote HOST status`: its exit status and what it says on the standard error.
std::pair<int, std::string> askForStatus(const QString& host) {
    testing::internal::CaptureStderr();
    const auto [status, output] = runTool([&] { return runRemoteCommand({host, u"status"_s}); });
    EXPECT_EQ(output, "");
    return {status, testing::internal::GetCapturedStderr()};
}

TEST(RemoteToolWithoutARecorder, saysThatItIsNotKnown) {
    const auto [status, error] = askForStatus(u"recorder..invalid"_s);
    EXPECT_EQ(status, 2);
    EXPECT_TRUE(error.starts_with("takebox: recorder..invalid is not known: ")) << error;
}

TEST(RemoteToolWithoutARecorder, saysThatItHasHungUp) {
    FixedServer server("");
    server.hangsUp = true;
    EXPECT_EQ(askForStatus(u"127.0.0.1:%1"_s.arg(server.address().port)),
              Result(2, "takebox: the recorder closed the connection.\n"));
}

}  // namespace
}  // namespace takebox::test
