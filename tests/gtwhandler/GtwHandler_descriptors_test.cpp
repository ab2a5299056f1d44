// The endpoint when descriptors are short, or beyond what select can watch.
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
    static void limit_descriptors(int count) {
        rlimit limit{};
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
        limit.rlim_cur = static_cast<rlim_t>(count);
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    }
    static FileDescriptor open_lowest() {
        return FileDescriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
    /// Opens every descriptor below `end`.
    void take_all_below(int end) {
        do {
            taken_.push_back(open_lowest());
            ASSERT_TRUE(taken_.back());
        } while (taken_.back().get() < end);
        taken_.pop_back();
    }

    /// True if a request that waits behind silent peers is carried out within a pause of the
    /// endpoint, although the limit leaves only that many descriptors.
    bool serves_behind_silent_peers(int free) {
        for (int i = 0; i < 13; ++i) {
            peers_.push_back(connect_core());
        }
        peers_.back().write(request({"7", "RUN"}));
        limit_descriptors(open_lowest().get() + free);
        const auto end = std::chrono::steady_clock::now() +
                         std::chrono::milliseconds(GtwHandler::kAcceptPauseMilliseconds - 300);
        loop_.setSelectTimeout(0, 20000);
        while (gateway_.calls.empty() && std::chrono::steady_clock::now() < end) {
            loop_.run();
        }
        return !gateway_.calls.empty() && receive_all(peers_.back()) == kDone;
    }

    std::vector<FileDescriptor> taken_;
    std::vector<CorePeer> peers_;
};

// With a pause of a second for each silent peer, a good request would wait as long.
TEST_F(GtwDescriptors, SilentPeersGiveUpTheirDescriptorsAtOnceWhenNoneIsFree) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs a descriptor itself to look at a virtual call";
#endif
    EXPECT_TRUE(serves_behind_silent_peers(1));
}

TEST_F(GtwDescriptors, SilentPeersLeaveSomeForTheThreadsThatServeRequests) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs a descriptor itself to look at a virtual call";
#endif
    EXPECT_TRUE(serves_behind_silent_peers(9));
    for (int i = 0; i < 3; ++i) {
        taken_.push_back(open_lowest());
        EXPECT_TRUE(taken_.back()) << "a bridge, a core and a resolver must still be reachable";
    }
}

TEST_F(GtwDescriptors, AtTheLimitOfSelectANewPeerDisplacesASilentOneAndBeyondNoneIsWatched) {
    CorePeer silent = connect_core();
    take_all_below(FD_SETSIZE - 1);
    EXPECT_TRUE(is_idle()) << "the last descriptor is taken";
    EXPECT_TRUE(serves_a_request()) << "a request that arrives whole needs none";
    CorePeer slow = connect_core();
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_TRUE(logged("displaced by a later connection"));
    EXPECT_EQ(receive_all(silent), "");
    slow.write(request({"7", "RUN"}));
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(receive_all(slow), kDone);

    CorePeer late = connect_core();
    take_all_below(FD_SETSIZE);
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_STREQ(loop_.getLastError(), kTooMany);
    EXPECT_EQ(receive_all(late), "");
    EXPECT_EQ(GtwHandler(0, nullptr).initialize(), -1);
    EXPECT_TRUE(logged("GtwHandler::initialize the commands endpoint got descriptor"));
}

TEST_F(GtwDescriptors, WithoutFreeDescriptorsTheLoopDoesNotSpin) {
    CorePeer core = connect_core();
    core.write(request({"7", "RUN"}));
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
    EXPECT_EQ(receive_all(core), kDone) << "served once the pause is over";
}

}  // namespace
