// An adaptive filter that learns an echo of four taps. Its steps become smaller than a word, and where that happens
// rounding decides how well it learns.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <vector>

#include <tolvane/tolvane.h>

int main() {
    using namespace tolvane;
    constexpr std::size_t kTaps = 4;
    const double echo[kTaps] = {0.5, -0.3, 0.2, 0.1};

    for (const char* const weight : {"s16,15", "s16,15 floor", "s24,23"}) {
        std::vector<fixed_scalar> w(kTaps, fixed_scalar(weight, "weight"));
        std::vector<fixed_scalar> x(kTaps, fixed_scalar("s12,11", "x"));
        fixed_scalar wanted("s16,15", "wanted"), estimate("s16,15", "estimate"), error("s16,15", "error");
        fixed_scalar step("s16,15", "step"), sum("s34,26", "sum");
        std::uint32_t random = 1;
        for (int n = 0; n < 20000; ++n) {
            random = random * 1664525U + 1013904223U;
            for (std::size_t k = kTaps - 1; k > 0; --k) {
                x[k] = x[k - 1];
            }
            x[0] = static_cast<double>(random) / 0x1p32 - 0.5;
            double heard = 0;
            sum = 0;
            for (std::size_t k = 0; k < kTaps; ++k) {
                heard += echo[k] * x[k].to_double();
                sum += w[k] * x[k];
            }
            wanted = heard;
            estimate = sum;
            error = wanted - estimate;
            step = scaled(error, -5);
            for (std::size_t k = 0; k < kTaps; ++k) {
                w[k] += step * x[k];
            }
        }
        double worst = 0;
        for (std::size_t k = 0; k < kTaps; ++k) {
            worst = std::max(worst, std::abs(w[k].to_double() - echo[k]));
        }
        std::cout << w[0].format().text() << ": off by at most " << worst << "; the last error is " << error << '\n';
    }
}
