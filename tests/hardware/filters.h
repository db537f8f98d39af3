// The filters of fir.v and biquad.v, and the same ones by the library.
#pragma once

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

/// Direct form 1, with a format for every node.
struct BiquadFilter {
    tolvane::fixed_type input;
    tolvane::fixed_array coefficients;  // b0, b1, b2, a1, a2
    tolvane::fixed_format sectionInput;
    tolvane::fixed_format productB;
    tolvane::fixed_format sumB;
    tolvane::fixed_format productA;
    tolvane::fixed_format sumA;
    tolvane::fixed_format sectionOutput;

    /// A low-pass filter, now and then with poles so near the unit circle that it rings.
    static BiquadFilter drawn(Draw& draw);
    tolvane::fixed_array filtered(const tolvane::fixed_array& x) const;
    std::string parameters() const;
};

}  // namespace hardware
