// The filters of fir.v and biquad.v, and the same ones by the library.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "draw.h"
#include "program/tolvane.h"

namespace hardware {

/// A signal for filters: noise, silence, and squares of full scale, which make sums overflow.
tolvane::fixed_array signalDrawn(Draw& draw, const tolvane::fixed_type& type, std::size_t count);

/// y[n] = h[0] x[n] + h[1] x[n-1] + ... with formats for the products and the sums, or all their bits.
struct FirFilter {
    tolvane::fixed_type input;
    tolvane::fixed_array taps;
    std::optional<tolvane::fixed_format> product;
    std::optional<tolvane::fixed_format> sum;
    tolvane::fixed_format output;

    /// A low-pass filter.
    static FirFilter drawn(Draw& draw);
    tolvane::fixed_array filtered(const tolvane::fixed_array& x) const;
    std::string parameters() const;
};

constexpr tolvane::filter_form kForms[] = {tolvane::filter_form::direct1, tolvane::filter_form::transposed2,
                                           tolvane::filter_form::direct2, tolvane::filter_form::transposed1};

/// Words with sums of up to 64 bits, of up to 128 most often, and of more.
enum class Length { small, medium, large };

/// One to three sections of biquad.v.
struct Cascade {
    tolvane::fixed_type input;
    tolvane::fixed_type coefficient;
    std::vector<std::array<double, 6>> sections;
    std::vector<double> gains;  // or none
    tolvane::filter_options options;

    /// Low-pass sections, now and then with poles so near the unit circle that they ring. Formats are of all modes, or
    /// of those of most filters.
    static Cascade drawn(Draw& draw, tolvane::filter_form form, Length length);
    tolvane::fixed_array filtered(const tolvane::fixed_array& x) const;
    /// What logs count in each section: at section_input, product_b, product_a, sum_b, sum_a, state, section_output.
    /// The signal is filtered once more, in two blocks; raises std::runtime_error if its words are others.
    tolvane::fixed_array overflows(const tolvane::fixed_array& x) const;
    /// For each section the gain, b0, b1, b2, a1 and a2, with the signs that products need.
    tolvane::fixed_array coefficients() const;
    std::string parameters() const;

 private:
    tolvane::fixed_array filtered(const tolvane::fixed_array& x, std::size_t from, std::size_t to,
                                  tolvane::filter_state& state) const;
};

}  // namespace hardware
