// Test main for toolkit-free tests.
#include "tests/support/TestEnv.h"

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    taviro_test::InstallTestEnvironment();
    return RUN_ALL_TESTS();
}
