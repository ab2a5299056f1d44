// FairMutex and WaitableFlag: the threads of the handler wait for these.
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "hue_handler/FairMutex.h"
#include "hue_handler/WaitableFlag.h"

namespace {

using namespace std::chrono_literals;
using hue_handler::FairMutex;
using hue_handler::WaitableFlag;

TEST(FairMutex, AWaiterGetsItBeforeItsPreviousHolder) {
    FairMutex mutex;
    std::atomic<bool> waiter_had_it{false};
    mutex.lock();
    std::thread waiter([&] {
        const std::lock_guard<FairMutex> lock(mutex);
        waiter_had_it = true;
    });
    std::this_thread::sleep_for(50ms);  // lets the waiter queue up; less only weakens the test
    mutex.unlock();
    mutex.lock();
    EXPECT_TRUE(waiter_had_it);
    mutex.unlock();
    waiter.join();
}

TEST(FairMutex, TryLockFailsWhileHeldAndWorksAfter) {
    FairMutex mutex;
    ASSERT_TRUE(mutex.try_lock());
    EXPECT_FALSE(mutex.try_lock());
    mutex.unlock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.unlock();
}

TEST(WaitableFlag, AChangeEndsTheSleepAtOnce) {
    WaitableFlag flag;
    const auto start = std::chrono::steady_clock::now();
    std::thread setter([&flag] { flag.set(true); });
    flag.sleep_unless(true, 60s);
    setter.join();
    EXPECT_TRUE(flag.get());
    EXPECT_LT(std::chrono::steady_clock::now() - start, 30s);
}

}  // namespace
