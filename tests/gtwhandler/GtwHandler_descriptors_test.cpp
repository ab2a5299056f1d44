// The endpoint when descriptors are short, or beyond what select can watch.
#include <ctime>

#include <fcntl.h>
#include <sys/resource.h>

#include "gtwhandler/GtwHandler.h"
#include "tests/gtwhandler/LoopTest.h"

namespace {

using gtwhandlernamespace::GtwHandler;

/// Limits the descriptors of this process for its own lifetime.
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
    /// Opens every descriptor below `end`; false if the system refuses one of them.
    bool take_all_below(int end) {
        int free = lowest_free();
        while (free >= 0 && free < end) {
            taken_.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
            free = lowest_free();
        }
        return free >= 0;
    }
    std::vector<FileDescriptor> taken_;
};

TEST_F(GtwDescriptors, AtTheLimitOfSelectANewPeerDisplacesASilentOne) {
    const DescriptorLimit limit(FD_SETSIZE + 100);
    CorePeer silent = connect_core();
    ASSERT_TRUE(take_all_below(FD_SETSIZE - 1));
    EXPECT_TRUE(is_idle()) << "the last descriptor is taken";
    EXPECT_TRUE(serves_a_request()) << "a request that arrives whole needs none";
    CorePeer slow = connect_core();
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_STREQ(loop_.getLastError(), kDisplaced);
    EXPECT_EQ(silent.receive_all(), "");
    slow.send(request({"7", "RUN"}));
    EXPECT_EQ(loop_.run(), 0);
    EXPECT_EQ(slow.receive_all(), kDone);
}

TEST_F(GtwDescriptors, BeyondTheLimitOfSelectNothingIsWatched) {
    CorePeer slow = connect_core();
    const DescriptorLimit limit(FD_SETSIZE + 100);
    ASSERT_TRUE(take_all_below(FD_SETSIZE));
    EXPECT_EQ(loop_.run(), -1);
    EXPECT_STREQ(loop_.getLastError(), kTooMany);
    EXPECT_EQ(slow.receive_all(), "");

    GtwHandler late(0, nullptr);
    EXPECT_EQ(late.initialize(), -1);
    EXPECT_TRUE(logged("GtwHandler::initialize the commands endpoint got descriptor"));
}

TEST_F(GtwDescriptors, WithoutFreeDescriptorsTheLoopDoesNotSpin) {
    EXPECT_TRUE(serves_a_request());
    CorePeer core = connect_core();
    core.send(request({"7", "RUN"}));
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
    EXPECT_EQ(core.receive_all(), kDone) << "served once the pause is over";
}

}  // namespace
