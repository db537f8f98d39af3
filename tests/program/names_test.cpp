// A page that uses both namespaces at once, as small programs do: no name of the interface hides one of theirs.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <csignal>
#include <functional>
#include <iostream>
#include <numeric>
#include <ranges>
#include <sstream>
#include <stack>
#include <valarray>

#include <gtest/gtest.h>

#include "program/tolvane.h"

using namespace std;
using namespace tolvane;

TEST(Names, AreFreeBesideThoseOfOthers) {
    fixed_log log;
    const array<double, 3> samples{0.5, -0.25, 0.125};
    fixed_array x(samples, sfix(16, 15), "x");
    const fixed_array taps({0.25, 0.5, 0.25}, "s18,17 convergent", "taps");
    const fixed_array y = conv(x, taps, {.sum = sfix(40, 30)});
    const fixed_array z = cast(y, fixed_format{sfix(16, 15), rounding::convergent, overflow::saturate, "z"});
    x += 0.5;
    ostringstream out;
    out << z << log.report();
    EXPECT_NE(out.str().find("z: s16,15 (5) [0.125, 0.1875"), string::npos) << out.str();
    EXPECT_EQ(floor(abs(-2.5)), 2.0);
    EXPECT_GT(getpid(), 0);
    const fixed_array m = full_range(sfix(4, 1)).reshaped({4, 4});
    EXPECT_EQ(max(sum(repeat(flip(m), 2), 1)), exact_value(2) * sum(m, 1).at(3));
    EXPECT_EQ(where(is_less(m, 0), -m, m), abs(m));
    EXPECT_EQ(take(sort(rotate_bits(m, 1)), find(m)).size(), 15U);
    EXPECT_EQ(conj(round(sqrt(abs(m), "u8,4"))), floor(sqrt(abs(m), "u8,4") + 0.5));
    EXPECT_EQ(any_of(m) && all_of(m) ? 1 : max(2, 3), 3);
}
