// The main function of every test program: the sandbox first, while there is one thread.
#include <cstdio>

#include <gtest/gtest.h>

#include "simulator/Sandbox.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    const simulator::Sandbox sandbox = simulator::Sandbox::enter();
    if (!sandbox.is_private()) {
        std::printf("no namespaces here (%s): on the machine's own loopback, ports and paths\n",
                    sandbox.reason().c_str());
    }
    return RUN_ALL_TESTS();
}
