// Words for a cascade of two biquads: a reference without rounding proposes them, a second run says what they cost, and
// the words of input and output go to a simulator.
#include <array>
#include <cmath>
#include <iostream>
#include <vector>

#include <tolvane/tolvane.h>

int main() {
    using namespace tolvane;

    // A Butterworth low-pass of fourth order, with its cutoff at a tenth of the sampling rate.
    const std::vector<std::array<double, 6>> sections{{0.0048, 0.0097, 0.0048, 1, -1.0485, 0.2961},
                                                      {1, 2, 1, 1, -1.3209, 0.6327}};
    std::vector<double> samples(2000);
    for (std::size_t n = 0; n < samples.size(); ++n) {
        const auto t = static_cast<double>(n);
        samples[n] = 0.5 * std::sin(0.05 * t) + 0.4 * std::sin(0.3 * t);
    }
    const auto run = [&] {
        const fixed_array x(samples, "s16,15", "x");
        return sosfilt(sections, x,
                       {.coefficients_b = "s18,15", .coefficients_a = "s18,15", .section_output = "s18,17"});
    };

    fixed_log reference({.errors = true, .formats = override::doubles});
    const fixed_array ideal = run();
    reference.stop();
    std::cout << propose(reference) << '\n';

    fixed_log log({.errors = true});
    const fixed_array y = run();
    std::cout << compare(log, reference) << "the output has " << signal_to_noise_db(ideal, y) << " dB\n\n";

    std::cout << "some words of y as $readmemh reads them:\n"
              << words_text(sliced(y, {index_range(100, 104)}), {.values = true});
}
