// The entry of every unit test executable, and the fatal exit of a test: an exception, so that a test can say
// that an operation must end the run.
#include "support/test_support.h"

#include <gtest/gtest.h>

#include "support/fatal.h"

namespace pelorus {

__attribute__((weak)) void fatal_exit() { throw FatalExit(); }

} // namespace pelorus

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
