#include "etabulon/foundation/EExpects.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

constexpr int Half(int number) {
    E_EXPECTS(number % 2 == 0);
    return number / 2;
}
static_assert(Half(4) == 2);

TEST(KeptExpectation, LetsTheCallerPass) {
    E_EXPECTS((std::is_same_v<int, int>));
    E_EXPECTS(std::is_same_v<int, int>);
    EXPECT_EQ(Half(6), 3);
}

#if defined(ETABULON_CHECKS)
TEST(BrokenExpectation, EndsTheProcessWithItsTextAndPlace) {
    EXPECT_DEATH(Half(3), "ExpectsTest\\.cpp:10: expected: number % 2 == 0");
}
#else
TEST(BrokenExpectation, IsNotEvenEvaluated) {
    int evaluations = 0;
    E_EXPECTS(++evaluations < 0);
    EXPECT_EQ(evaluations, 0);
}
#endif

}  // namespace
