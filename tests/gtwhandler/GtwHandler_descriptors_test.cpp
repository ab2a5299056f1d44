// The endpoint when descriptors are short, or beyond what select can watch.
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <sys/resource.h>

#include "gtwhandler/GtwHandler.h"
#include "tests/gtwhandler/LoopTest.h"

namespace {

using gtwhandlernamespace::GtwHandler;

class GtwDescriptors : public LoopTest {
  protected:
    static constexpr const char* kTooMany =
        "GtwHandler::run recv reading request [1] failed with error 'Too many open files', "
        "continuing for the next request";

    GtwDescriptors() { limit_descriptors(FD_SETSIZE + 100); }
    /// For this process, in which no other test runs.
    static void limit_descriptors(rlim_t count) {
        rlimit limit{};
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
        limit.rlim_cur = count;
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    }
    /// Opens every descriptor below `end`.
    void take_all_below(int end) {
        do {
            taken_.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
            ASSERT_TRUE(taken_.back());
        } while (taken_.back().get() < end);
        taken_.pop_back();
    }

    std::vector<FileDescriptor> taken_;
};

TEST_F(GtwDescriptors, AtTheLimitOfSelectANewPeerDisplacesASilentOne) {
    CorePeer silent = connect_core();
    take_all_below(FD_SETSIZE - 1);
    EXPECT_TRUE(is_idle()) << "the last descriptor is taken";
    EXPECT_TRUE(serves_a_request()) << "a request that arrives whole needs none";
    CorePeer slow = connect_core();
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_NE(std::strstr(loop_.getLastError(), "displaced by a later connection"), nullptr);
    EXPECT_EQ(silent.receive_all(), "");
    slow.send(request({"7", "RUN"}));
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(slow.receive_all(), kDone);
}

TEST_F(GtwDescriptors, BeyondTheLimitOfSelectNothingIsWatched) {
    CorePeer slow = connect_core();
    take_all_below(FD_SETSIZE);
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_STREQ(loop_.getLastError(), kTooMany);
    EXPECT_EQ(slow.receive_all(), "");

    GtwHandler late(0, nullptr);
    EXPECT_EQ(late.initialize(), -1);
    EXPECT_TRUE(logged("GtwHandler::initialize the commands endpoint got descriptor"));
}

TEST_F(GtwDescriptors, WithoutFreeDescriptorsTheLoopDoesNotSpin) {
    CorePeer core = connect_core();
    core.send(request({"7", "RUN"}));
    limit_descriptors(3);
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_STREQ(loop_.getLastError(), kTooMany);
    loop_.setSelectTimeout(0, 500000);
    const std::clock_t used = std::clock();
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_LT(std::clock() - used, CLOCKS_PER_SEC / 5);
    limit_descriptors(100);
    loop_.setSelectTimeout(10, 0);
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(core.receive_all(), kDone) << "served once the pause is over";
}

}  // namespace
