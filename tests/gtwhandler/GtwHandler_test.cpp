#include "gtwhandler/GtwHandler.h"

#include <sys/socket.h>
#include <unistd.h>

#include "tests/gtwhandler/LoopTest.h"

namespace {

using gtwhandlernamespace::GtwHandler;

class GtwHandlerTest : public LoopTest {
  protected:
    GtwHandlerTest() {
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        reader_.reset(ends[0]);
        writer_.reset(ends[1]);
    }
    void send_from_device() { EXPECT_EQ(write(writer_.get(), "x", 1), 1); }

    FileDescriptor reader_, writer_;
};

TEST_F(GtwHandlerTest, AcceptsTwentyGatewaysAndNoMore) {
    EXPECT_EQ(loop_.addGateway(FD_SETSIZE, &gateway_), 30) << "select cannot watch it";
    RecordingGateway others[20];
    for (int i = 0; i < 19; ++i) {
        EXPECT_EQ(loop_.addGateway(&others[i]), 0);
    }
    EXPECT_EQ(loop_.addGateway(reader_.get(), &others[19]), 30);
    send_from_device();
    EXPECT_TRUE(is_idle()) << "the refused gateway's descriptor must not be watched";
    EXPECT_TRUE(serves_a_request());
    EXPECT_EQ(others[18].calls.size(), 1U);
    EXPECT_TRUE(others[19].calls.empty());
}

TEST_F(GtwHandlerTest, RemovesAnyGatewayButTheFirst) {
    RecordingGateway second;
    RecordingGateway third;
    ASSERT_EQ(loop_.addGateway(reader_.get(), &second), 0);
    ASSERT_EQ(loop_.addGateway(&third), 0);
    for (const int index : {0, 3, -1}) {
        EXPECT_EQ(loop_.removeGatewayAtIndex(index), 16);
    }
    EXPECT_EQ(loop_.removeGateway(&gateway_), 16);
    EXPECT_EQ(loop_.removeGateway(writer_.get()), 16);

    EXPECT_EQ(loop_.removeGateway(reader_.get()), 0);
    EXPECT_EQ(loop_.removeGateway(&second), 16);
    send_from_device();
    EXPECT_TRUE(is_idle()) << "the removed gateway's descriptor must not be watched";
    EXPECT_TRUE(serves_a_request());
    EXPECT_TRUE(second.calls.empty());
    EXPECT_EQ(third.calls.size(), 1U);
    EXPECT_EQ(loop_.removeGatewayAtIndex(1), 0) << "the third had moved down";
    EXPECT_TRUE(serves_a_request());
    EXPECT_EQ(third.calls.size(), 1U);
}

TEST_F(GtwHandlerTest, ServesOneReadyGatewayAStep) {
    RecordingGateway device;
    device.result = 42;
    ASSERT_EQ(loop_.addGateway(-1, nullptr), 0);
    ASSERT_EQ(loop_.addGateway(reader_.get(), &device), 0);
    send_from_device();
    EXPECT_EQ(loop_.run(), 42);
    EXPECT_EQ(loop_.getLastEventKind(), GtwHandler::EventKind::gateway_data);
    EXPECT_EQ(device.custom_data, std::vector<int>{reader_.get()});

    send_from_device();
    device.result = 0;
    EXPECT_TRUE(serves_a_request())
        << "the core is served first, and the element without a gateway is skipped";
    EXPECT_EQ(device.custom_data.size(), 1U);
    EXPECT_EQ(loop_.cleanup(), 0);
    EXPECT_EQ(loop_.run(), 0) << "a clean-up must not lose the device";
    EXPECT_EQ(device.custom_data.size(), 2U);

    ASSERT_EQ(loop_.removeGateway(&device), 0);
    ASSERT_EQ(loop_.addGateway(reader_.get(), nullptr), 0);
    send_from_device();
    EXPECT_EQ(loop_.run(), 1) << "the number of ready descriptors if there is no callback";
}

TEST_F(GtwHandlerTest, ReportsAFailedSelect) {
    ASSERT_EQ(loop_.addGateway(reader_.get(), &gateway_), 0);
    reader_.reset();
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_STREQ(loop_.getLastError(),
                 "GtwHandler::run select failed with error 'Bad file descriptor'");
}

TEST(GtwHandlerEndpoint, IsAPathAPortOrAPortThatTheSystemChooses) {
    // A private constructor that takes two arguments would make the literal zeros ambiguous.
    // NOLINTNEXTLINE(modernize-use-nullptr)
    EXPECT_EQ(GtwHandler(0, 0).getLocalPortWithCore() + GtwHandler(0, 0, 0).getLocalPortWithCore(),
              0);
    EXPECT_EQ(GtwHandler(nullptr, 0, nullptr).getLocalPortWithCore(), -1);
    const char* const path = "/tmp/vexa_variables/sockets/gateway_test.socket";
    GtwHandler named(path, 0, nullptr);
    ASSERT_EQ(named.initialize(), 0);
    CorePeer(FileDescriptor(make_localtcpclient_socket(path))).write("x");
    EXPECT_EQ(named.run(), -1);

    GtwHandler chosen(0, nullptr);
    ASSERT_EQ(chosen.initialize(), 0);
    EXPECT_GT(chosen.getLocalPortWithCore(), 0);

    GtwHandler taken(chosen.getLocalPortWithCore(), 0, nullptr);
    EXPECT_EQ(taken.initialize(), -1);
    EXPECT_STREQ(taken.getLastError(),
                 "GtwHandler::initialize error cannot initialize commands endpoint");
    taken.setSelectTimeout(0, 0);
    taken.refreshMaxFd();
    EXPECT_EQ(taken.run(), 0) << "without an endpoint there is nothing to watch";
}

TEST(GtwHandlerEndpoint, IsServedWhenStandardInputWasClosed) {
    prepare_signal_log();  // otherwise its socket would get the number
    close(STDIN_FILENO);
    GtwHandler loop(0, nullptr);
    ASSERT_EQ(loop.initialize(), 0);
    const int port = loop.getLocalPortWithCore();
    CorePeer(FileDescriptor(make_internettcpclient_socket("127.0.0.1", port))).write("x");
    EXPECT_EQ(loop.run(), -1);
}

TEST_F(GtwHandlerTest, KeepsAnErrorUpTo255BytesAndLogsItAtInfoLevel) {
    EXPECT_EQ(loop_.getLastError(), nullptr);
    loop_.setLastError("%s", std::string(300, 'x').c_str());
    EXPECT_EQ(loop_.getLastError(), std::string(255, 'x'));
    loop_.setLastError("100%% of %s", "%s");
    const char* const no_format = nullptr;
    loop_.setLastError(no_format);
    EXPECT_STREQ(loop_.getLastError(), "100% of %s");
    ASSERT_TRUE(logged("100% of %s"));
    EXPECT_EQ(log_.lines().back().priority, 6);
}

}  // namespace
