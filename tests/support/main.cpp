// The main function of every test program. Enters the sandbox before the first thread starts.
#include <cstdio>

#include <gtest/gtest.h>

#include "simulator/process/Sandbox.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    const simulator::Sandbox sandbox = simulator::Sandbox::enter();
    if (!sandbox.is_private()) {
        std::printf("no namespaces (%s): using the loopback, ports and paths of this machine\n",
                    sandbox.reason().c_str());
    }
    return RUN_ALL_TESTS();
}
