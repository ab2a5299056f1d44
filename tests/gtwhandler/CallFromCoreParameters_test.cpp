#include "gtwhandler/CallFromCoreParameters.h"

#include <memory>

#include <gtest/gtest.h>

namespace {

using callfromcoreparametersnamespace::CallFromCoreParameters;

TEST(CallFromCoreParametersTest, ACloneOutlivesItsSource) {
    auto source = std::make_unique<CallFromCoreParameters>(7, "RUN", "80", nullptr, "four", "");
    const std::unique_ptr<CallFromCoreParameters> clone(source->clone());
    source->p2 = "changed";
    source.reset();
    EXPECT_EQ(clone->objectId, 7);
    EXPECT_EQ(clone->action + "|" + clone->p2 + "|" + clone->p3 + "|" + clone->p4 + "|" + clone->p5,
              "RUN|80||four|");
}

}  // namespace
