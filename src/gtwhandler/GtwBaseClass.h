/// What a gateway of the platform implements to be served by the event loop.
///
/// The loop calls from the thread that turns it, and waits for each call to return. `parameters`
/// belongs to the loop and ends with the call: a gateway that keeps it uses clone().
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
    /// A request of the core other than QUIT, which is answered already. The result becomes that of
    /// the loop's step.
    virtual int didReceiveCallFromCore(
        gtwhandlernamespace::GtwHandler* handler,
        callfromcoreparametersnamespace::CallFromCoreParameters* parameters) = 0;

    /// `fd`, with which the gateway was registered, is readable.
    virtual int didReceiveCustomGatewayData(gtwhandlernamespace::GtwHandler* handler, int fd) = 0;

    /// The core sent QUIT and waits for its answer: the gateway is to finish its work.
    virtual int willTerminate(
        gtwhandlernamespace::GtwHandler* handler,
        callfromcoreparametersnamespace::CallFromCoreParameters* parameters) = 0;

  protected:
    // The loop never deletes a gateway, so nobody may do it through this class.
    ~GtwBaseClass() = default;
};

}  // namespace gtwbasenamespace
