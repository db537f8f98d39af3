// A low-pass of 16 taps: products in full, sums of 40 bits, an output of 16.
#include <cmath>
#include <iostream>
#include <numbers>
#include <vector>

#include <tolvane/tolvane.h>

int main() {
    using namespace tolvane;
    constexpr int kTaps = 16;

    // A windowed sinc, with its cutoff at a quarter of the sampling rate.
    std::vector<double> taps(kTaps);
    for (int k = 0; k < kTaps; ++k) {
        const double t = k - (kTaps - 1) / 2.0;
        const double window = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * (k + 0.5) / kTaps);
        taps[static_cast<std::size_t>(k)] = window * std::sin(std::numbers::pi * t / 2) / (std::numbers::pi * t);
    }
    // A slow sine that shall pass, and a fast one that shall not.
    std::vector<double> samples(400);
    for (std::size_t n = 0; n < samples.size(); ++n) {
        const auto t = static_cast<double>(n);
        samples[n] = 0.6 * std::sin(0.1 * t) + 0.39 * std::sin(2.8 * t);
    }

    fixed_log log;
    const fixed_array x(samples, "s16,15", "x");
    const fixed_array h(taps, "s12,11 convergent", "taps");
    const fixed_array y = conv(x, h, {.sum = fixed_format("s40,30", "sum")});
    const fixed_array out = cast(y, fixed_format("s16,15 convergent", "out"));

    std::cout << "from " << x.type() << " and " << h.type() << " through " << y.type() << " to " << out.type() << '\n'
              << "the greatest output is " << max(out) << "\n\n"
              << log.report();
}
