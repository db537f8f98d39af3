// A CIC decimator by 16 with three stages: integrators that wrap, which is right as long as all words are long enough.
#include <cmath>
#include <iostream>
#include <vector>

#include <tolvane/tolvane.h>

int main() {
    using namespace tolvane;
    constexpr int kStages = 3;
    constexpr int kRate = 16;

    for (const int bits : {28, 24}) {  // 16 bits of input and 3 log2(16) of growth; and too few
        const fixed_format word(sfix(bits, 15), rounding::floor, overflow::wrap);
        std::vector<fixed_scalar> integrators(kStages, fixed_scalar(word, "integrator"));
        std::vector<fixed_scalar> combs(kStages, fixed_scalar(word, "comb"));
        fixed_scalar x("s16,15"), value(word), difference(word);
        fixed_log log;
        std::cout << bits << " bits:";
        for (int n = 0; n < 30 * kRate; ++n) {
            x = 0.95 * std::cos(0.004 * n);
            value = x;
            for (fixed_scalar& integrator : integrators) {
                integrator += value;
                value = integrator;
            }
            if (n % kRate != kRate - 1) {
                continue;
            }
            for (fixed_scalar& comb : combs) {
                difference = value - comb;
                comb = value;
                value = difference;
            }
            if (n / kRate % 5 == 4) {
                std::cout << ' ' << scaled(value, -12);  // the gain is 16^3
            }
        }
        std::cout << "\n  the integrators wrapped " << log.place("integrator").overflows << " times\n";
    }
}
