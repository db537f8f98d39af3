#include "examples/filter_study/low_pass.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>

namespace filterstudy {
namespace {

double kaiserBeta(double attenuationDb) {
    if (attenuationDb > 50.0) {
        return 0.1102 * (attenuationDb - 8.7);
    }
    if (attenuationDb < 21.0) {
        return 0.0;
    }
    return 0.5842 * std::pow(attenuationDb - 21.0, 0.4) + 0.07886 * (attenuationDb - 21.0);
}

}  // namespace

std::vector<double> designLowPass(const LowPass& filter) {
    const auto taps = static_cast<std::size_t>(filter.taps);
    const double middle = (filter.taps - 1) / 2.0;
    const double beta = kaiserBeta(filter.attenuationDb);
    std::vector<double> coefficients(taps);
    // The second half mirrors the first, so that rounding cannot make them differ.
    for (std::size_t i = 0; i < (taps + 1) / 2; ++i) {
        const double at = static_cast<double>(i) - middle;
        const double angle = 2.0 * std::numbers::pi * filter.cutoff * at;
        const double sinc = at == 0.0 ? 2.0 * filter.cutoff : std::sin(angle) / (std::numbers::pi * at);
        const double edge = at / middle;
        const double window = std::cyl_bessel_i(0.0, beta * std::sqrt(std::max(0.0, 1.0 - edge * edge)));
        coefficients[i] = coefficients[taps - 1 - i] = sinc * window;
    }
    const double sum = std::accumulate(coefficients.begin(), coefficients.end(), 0.0);
    for (double& coefficient : coefficients) {
        coefficient /= sum;
    }
    return coefficients;
}

double transitionWidth(const LowPass& filter) {
    return std::max(filter.attenuationDb - 7.95, 13.05) / (14.36 * (filter.taps - 1));
}

double gainDb(std::span<const double> coefficients, double frequency) {
    std::complex<double> response = 0.0;
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
        response += std::polar(coefficients[i] < 0.0 ? -coefficients[i] : coefficients[i],
                               (coefficients[i] < 0.0 ? std::numbers::pi : 0.0) -
                                   2.0 * std::numbers::pi * frequency * static_cast<double>(i));
    }
    return 20.0 * std::log10(std::abs(response));
}

double greatestGainDb(std::span<const double> coefficients, double from) {
    const std::size_t points = 16 * coefficients.size();
    double greatest = gainDb(coefficients, 0.5);
    for (std::size_t i = 0; i < points; ++i) {
        const double part = static_cast<double>(i) / static_cast<double>(points);
        greatest = std::max(greatest, gainDb(coefficients, from + (0.5 - from) * part));
    }
    return greatest;
}

Terms termsOf(std::size_t output, std::size_t samples, std::size_t coefficients) {
    const std::size_t whole = output + coefficients / 2;  // ceil((m - 1) / 2) is floor(m / 2)
    const std::size_t first = whole + 1 > coefficients ? whole + 1 - coefficients : 0;
    return {whole, first, std::min(whole + 1, samples)};
}

std::size_t productCount(std::size_t samples, std::size_t coefficients) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < samples; ++i) {
        const Terms terms = termsOf(i, samples, coefficients);
        count += terms.end > terms.first ? terms.end - terms.first : 0;
    }
    return count;
}

std::vector<double> filtered(std::span<const double> samples, std::span<const double> coefficients) {
    std::vector<double> output(samples.size());
    for (std::size_t i = 0; i < output.size(); ++i) {
        const Terms terms = termsOf(i, samples.size(), coefficients.size());
        double sum = 0.0;
        for (std::size_t j = terms.first; j < terms.end; ++j) {
            sum += samples[j] * coefficients[terms.whole - j];
        }
        output[i] = sum;
    }
    return output;
}

}  // namespace filterstudy
