/// The interface that a gateway implements to be served by the event loop.
///
/// The loop calls from its own thread and waits for each call to return. `parameters` belongs to
/// the loop and is destroyed after the call: a gateway that keeps it uses clone().
#pragma once

namespace callfromcoreparametersnamespace {
class CallFromCoreParameters;
}
namespace gtwhandlernamespace {
class GtwHandler;
}

namespace gtwbasenamespace {

class GtwBaseClass {
  public:
    /// The core sent a request other than QUIT, which has been answered. The result becomes that of
    /// the loop's step.
    virtual int didReceiveCallFromCore(
        gtwhandlernamespace::GtwHandler* handler,
        callfromcoreparametersnamespace::CallFromCoreParameters* parameters) = 0;

    /// `fd`, with which the gateway was registered, is readable. The result becomes that of the
    /// loop's step.
    virtual int didReceiveCustomGatewayData(gtwhandlernamespace::GtwHandler* handler, int fd) = 0;

    /// The core sent QUIT and waits for the answer: the gateway is to finish its work. The result
    /// becomes that of the loop's step.
    virtual int willTerminate(
        gtwhandlernamespace::GtwHandler* handler,
        callfromcoreparametersnamespace::CallFromCoreParameters* parameters) = 0;

  protected:
    // The loop never deletes a gateway, and no other code may do so through this class.
    ~GtwBaseClass() = default;
};

}  // namespace gtwbasenamespace
