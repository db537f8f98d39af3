// A low-pass filter in doubles: a sinc under a Kaiser window, its response, and its output for a signal.
//
// Frequencies are fractions of the sample rate, 0 to 0.5. The window's formulas are Kaiser's (Oppenheim and Schafer,
// Discrete-Time Signal Processing, design by windows).
#pragma once

#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace filterstudy {

struct LowPass {
    int taps = 64;                // at least 2
    double cutoff = 0.1;          // where the gain is one half
    double attenuationDb = 70.0;  // required in the stop band
};

/// Returns the coefficients: symmetric to the last bit, with a sum of 1.
std::vector<double> designLowPass(const LowPass& filter);

/// Returns the width of the transition, which is centred on the cutoff.
double transitionWidth(const LowPass& filter);

/// Returns the gain at a frequency, in dB; minus infinity for none.
double gainDb(std::span<const double> coefficients, double frequency);

/// Returns the greatest gain from a frequency to one half, in dB, on a grid of 16 points per tap.
double greatestGainDb(std::span<const double> coefficients, double from);

/// The products of a convolution of n samples with m coefficients that contribute to the central output i, which is
/// number i + ceil((m - 1) / 2) of the full one: sample j is multiplied by coefficient `whole - j`.
struct Terms {
    std::size_t whole;
    std::size_t first;  // sample
    std::size_t end;    // sample past the last one
};
Terms termsOf(std::size_t output, std::size_t samples, std::size_t coefficients);

/// The number of products in all central outputs together.
std::size_t productCount(std::size_t samples, std::size_t coefficients);

/// Returns the central part of the convolution, as long as the samples.
std::vector<double> filtered(std::span<const double> samples, std::span<const double> coefficients);

}  // namespace filterstudy
