/// A registered gateway and the descriptor that the event loop watches for it.
#pragma once

#include "gtwhandler/GtwBaseClass.h"

namespace gtwlistelementnamespace {

class GtwListElement final {
  public:
    /// Without a descriptor and a gateway at first; neither is owned.
    GtwListElement() = default;
    GtwListElement(int fd, gtwbasenamespace::GtwBaseClass* gateway) : fd_(fd), gateway_(gateway) {}

    /// -1 or less for none; owned by the gateway.
    int getFd() const { return fd_; }
    /// A number beyond the range of an int is stored as -1.
    void setFd(long fd) {
        const int number = static_cast<int>(fd);
        fd_ = number == fd ? number : -1;
    }
    /// Not owned; the loop skips an element whose gateway is null.
    gtwbasenamespace::GtwBaseClass* getHandler() const { return gateway_; }
    void setHandler(gtwbasenamespace::GtwBaseClass* gateway) { gateway_ = gateway; }

  private:
    int fd_ = -1;
    gtwbasenamespace::GtwBaseClass* gateway_ = nullptr;
};

}  // namespace gtwlistelementnamespace
