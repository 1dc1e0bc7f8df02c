// Two users of one scratch member at a time would spoil each other's work.
#include "support/scratch.h"

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace pelorus {
namespace {

TEST(Scratch, AMemberThatSomebodyHoldsIsNotClaimedAgain) {
    const SCRATCH_CLAIM marks(SCRATCH::BB_MARK, "one");
    {
        const SCRATCH_CLAIM words(SCRATCH::NODE_WORDS, "two");
    }
    const SCRATCH_CLAIM words(SCRATCH::NODE_WORDS, "three"); // given back before
    if (!CHECKING_BUILD) return;
    testing::internal::CaptureStderr();
    EXPECT_THROW(SCRATCH_CLAIM(SCRATCH::BB_MARK, "another"), FatalExit);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "INTERNAL ERROR: 'another' claims BB::mark, which 'one' holds\n");
}

} // namespace
} // namespace pelorus
