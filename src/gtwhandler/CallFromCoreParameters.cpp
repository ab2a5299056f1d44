#include "gtwhandler/CallFromCoreParameters.h"

#include "libcbase/memory.h"

namespace callfromcoreparametersnamespace {

CallFromCoreParameters::CallFromCoreParameters(long object_id, const char* action_text,
                                               const char* second, const char* third,
                                               const char* fourth, const char* fifth)
    : objectId(object_id),
      action(text_or_empty(action_text)),
      p2(text_or_empty(second)),
      p3(text_or_empty(third)),
      p4(text_or_empty(fourth)),
      p5(text_or_empty(fifth)) {}

CallFromCoreParameters* CallFromCoreParameters::clone() const {
    return new CallFromCoreParameters(*this);
}

}  // namespace callfromcoreparametersnamespace
