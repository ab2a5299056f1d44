/// One request of the core, as the gateways see it: the object that it is about and five texts.
///
/// Created and destroyed by the event loop around the callbacks; a gateway that keeps one uses
/// clone().
#pragma once

#include <string>

namespace callfromcoreparametersnamespace {

class CallFromCoreParameters final {
  public:
    /// Copies the texts; a null one is stored as empty.
    CallFromCoreParameters(long objectId, const char* action, const char* p2, const char* p3,
                           const char* p4, const char* p5);

    /// A copy that outlives this one; the caller deletes it.
    CallFromCoreParameters* clone() const;

    /// ID of an object of the installation, within 32 bits.
    long objectId;
    /// Parameters 1 to 5 of the request, each empty if it had none. 1 is "RUN", "QUIT" and so on,
    /// 2 the payload of a "RUN".
    std::string action;
    std::string p2;
    std::string p3;
    std::string p4;
    std::string p5;
};

}  // namespace callfromcoreparametersnamespace
