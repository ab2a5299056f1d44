// The endpoint when descriptors are short, or beyond what select can watch.
#include <ctime>

#include <fcntl.h>
#include <sys/resource.h>

#include "gtwhandler/GtwHandler.h"
#include "tests/gtwhandler/LoopTest.h"

namespace {

using gtwhandlernamespace::GtwHandler;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// The limit of descriptors of this process while it lives.
class DescriptorLimit final {
  public:
    explicit DescriptorLimit(int count) {
        EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &before_), 0);
        rlimit limit = before_;
        limit.rlim_cur = static_cast<rlim_t>(count);
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

  private:
    rlimit before_{};
};

class GtwDescriptors : public LoopTest {
  protected:
    static constexpr const char* kTooMany =
        "GtwHandler::run recv reading request [1] failed with error 'Too many open files', "
        "continuing for the next request";
    static constexpr const char* kDisplaced =
        "GtwHandler::run recv reading request [1] failed with error 'displaced by a later "
        "connection', continuing for the next request";

    static int lowest_free() {
        const FileDescriptor probe(open("/dev/null", O_RDONLY | O_CLOEXEC));
        return probe.get();
    }
    /// Takes every descriptor below `end`; false when the system gives no more before.
    bool takes_all_below(int end) {
        int free = lowest_free();
        while (free >= 0 && free < end) {
            taken_.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
            free = lowest_free();
        }
        return free >= 0;
    }
    std::vector<CorePeer> many_connect() const {
        std::vector<CorePeer> peers;
        for (int i = 0; i < 12; ++i) {
            peers.push_back(connects());
        }
        return peers;
    }
    /// Turns the loop until a request was carried out, for less than one pause.
    bool is_carried_out() {
        const Clock::time_point end =
            Clock::now() + milliseconds(GtwHandler::kAcceptPauseMilliseconds - 300);
        loop_.setSelectTimeout(0, 20000);
        while (gateway_.calls.empty() && Clock::now() < end) {
            loop_.run();
        }
        return !gateway_.calls.empty();
    }

    std::vector<FileDescriptor> taken_;
};

// A pause of a second for each silent peer would be one for each good request.
TEST_F(GtwDescriptors, SilentPeersMakeRoomAtOnceWhenNoneIsLeft) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs a descriptor itself to look at a virtual call";
#endif
    const std::vector<CorePeer> silent = many_connect();
    CorePeer core = connects();
    core.says(request({"7", "RUN"}));
    const DescriptorLimit limit(lowest_free() + 1);
    EXPECT_TRUE(is_carried_out());
    EXPECT_EQ(core.hears(), kDone);
}

TEST_F(GtwDescriptors, SilentPeersLeaveSomeToTheThreadsThatServeTheRequests) {
    const std::vector<CorePeer> silent = many_connect();
    CorePeer core = connects();
    core.says(request({"7", "RUN"}));
    const DescriptorLimit limit(lowest_free() + 9);
    EXPECT_TRUE(is_carried_out());
    EXPECT_TRUE(takes_all_below(lowest_free() + 3))
        << "there must be some to reach a bridge, a core and a resolver";
}

TEST_F(GtwDescriptors, BeyondTheEndOfSelectASilentPeerMakesRoomForANewOne) {
    const DescriptorLimit limit(FD_SETSIZE + 100);
    CorePeer silent = connects();
    ASSERT_TRUE(takes_all_below(FD_SETSIZE - 1));
    EXPECT_TRUE(is_idle()) << "the last place is taken";
    EXPECT_TRUE(serves()) << "a request that arrives whole needs none";
    CorePeer slow = connects();
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_STREQ(loop_.getLastError(), kDisplaced);
    EXPECT_EQ(silent.hears(), "");
    slow.says(request({"7", "RUN"}));
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(slow.hears(), kDone);
}

TEST_F(GtwDescriptors, BeyondTheEndOfSelectNothingIsWatched) {
    CorePeer slow = connects();
    const DescriptorLimit limit(FD_SETSIZE + 100);
    ASSERT_TRUE(takes_all_below(FD_SETSIZE));
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_STREQ(loop_.getLastError(), kTooMany);
    EXPECT_EQ(slow.hears(), "");

    GtwHandler late(0, nullptr);
    EXPECT_EQ(late.initialize(), -1);
    EXPECT_TRUE(logged("GtwHandler::initialize the commands endpoint got descriptor"));
}

TEST_F(GtwDescriptors, WithoutAnyTheLoopDoesNotSpin) {
    EXPECT_TRUE(serves());
    CorePeer core = connects();
    core.says(request({"7", "RUN"}));
    {
        const DescriptorLimit none(3);
        EXPECT_EQ(loop_.run(), -1);
        EXPECT_STREQ(loop_.getLastError(), kTooMany);
        loop_.setSelectTimeout(0, 500000);
        const std::clock_t used = std::clock();
        EXPECT_EQ(loop_.run(), 0);
        EXPECT_LT(std::clock() - used, CLOCKS_PER_SEC / 5);
    }
    loop_.setSelectTimeout(10, 0);
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(core.hears(), kDone) << "served once the pause is over";
}

}  // namespace
