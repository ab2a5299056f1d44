/// A registered gateway and the descriptor that the event loop watches for it.
#pragma once

#include "gtwhandler/GtwBaseClass.h"

namespace gtwlistelementnamespace {

class GtwListElement final {
  public:
    GtwListElement() = default;
    GtwListElement(int fd, gtwbasenamespace::GtwBaseClass* gateway) : fd_(fd), gateway_(gateway) {}

    /// -1 or less for none; owned by the gateway.
    int getFd() const { return fd_; }
    /// What an int does not hold is no descriptor.
    void setFd(long fd) {
        const int number = static_cast<int>(fd);
        fd_ = number == fd ? number : -1;
    }
    /// Not owned; null for an element that no callback reaches.
    gtwbasenamespace::GtwBaseClass* getHandler() const { return gateway_; }
    void setHandler(gtwbasenamespace::GtwBaseClass* gateway) { gateway_ = gateway; }

  private:
    int fd_ = -1;
    gtwbasenamespace::GtwBaseClass* gateway_ = nullptr;
};

}  // namespace gtwlistelementnamespace
