// An FFT of 64 points, radix 2 in place. Each stage halves its results, so that words never grow.
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <numbers>
#include <vector>

#include <tolvane/tolvane.h>

int main() {
    using namespace tolvane;
    constexpr std::size_t kPoints = 64;

    fixed_log log;
    std::vector<fixed_scalar> re(kPoints, fixed_scalar("s16,15 convergent", "re"));
    std::vector<fixed_scalar> im(kPoints, fixed_scalar("s16,15 convergent", "im"));
    for (std::size_t n = 0; n < kPoints; ++n) {
        // Bits of the index in reverse. The lines are at 5 and 20.
        std::size_t at = 0;
        for (std::size_t bit = 1; bit < kPoints; bit *= 2) {
            at = at * 2 + (n & bit ? 1 : 0);
        }
        const double turn = 2 * std::numbers::pi / kPoints * static_cast<double>(n);
        re[at] = 0.5 * std::cos(5 * turn) + 0.25 * std::cos(20 * turn);
    }
    fixed_scalar wr("s16,14", "twiddle"), wi("s16,14", "twiddle"), tr("s32,29", "product"), ti("s32,29", "product");
    for (std::size_t half = 1; half < kPoints; half *= 2) {
        for (std::size_t k = 0; k < half; ++k) {
            const double turn = -std::numbers::pi * static_cast<double>(k) / static_cast<double>(half);
            wr = std::cos(turn), wi = std::sin(turn);
            for (std::size_t a = k; a < kPoints; a += 2 * half) {
                const std::size_t b = a + half;
                tr = wr * re[b] - wi * im[b];
                ti = wr * im[b] + wi * re[b];
                // Both read the old values, so the first is kept as an expression.
                const auto re_sum = scaled(re[a] + tr, -1);
                const auto im_sum = scaled(im[a] + ti, -1);
                re[b] = scaled(re[a] - tr, -1), im[b] = scaled(im[a] - ti, -1);
                re[a] = re_sum, im[a] = im_sum;
            }
        }
    }
    for (std::size_t k = 0; k <= kPoints / 2; ++k) {
        if (std::abs(re[k].word()) > 2 || std::abs(im[k].word()) > 2) {
            std::cout << "line " << k << ": " << re[k] << " + " << im[k] << "i\n";
        }
    }
    std::cout << '\n' << log.report();
}
