#include "simulator/net/WakeUp.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

namespace simulator {

WakeUp::WakeUp() : event_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!event_) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

// Cannot fail: the counter never gets near its limit.
void WakeUp::set() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t length = write(event_.get(), &one, sizeof(one));
}

void WakeUp::clear() const {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t length = read(event_.get(), &count, sizeof(count));
}

}  // namespace simulator
