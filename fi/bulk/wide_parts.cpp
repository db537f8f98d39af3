#include "fi/bulk/wide_parts.h"

#include <algorithm>
#include <utility>

namespace tolvane::detail::wide {

std::optional<Operand> Operand::of(const fi& x, std::uint64_t count, bool isScalar) {
    const EmbeddedTypeSystem::NumericType& type = x.getNumericType();
    std::optional<Source> real = Source::of(x.real(), type, count, isScalar);
    if (!real) {
        return std::nullopt;
    }
    Operand result{std::move(*real), std::nullopt};
    if (x.iscomplex()) {
        result.imag = Source::of(x.imag(), type, count, isScalar);
        if (!result.imag) {
            return std::nullopt;
        }
    }
    return result;
}

integers::Extent Operand::extent() const {
    if (!imag) {
        return real.extent();
    }
    const integers::Extent& a = real.extent();
    const integers::Extent& b = imag->extent();
    const int exponent = std::min(a.exponent, b.exponent);
    return {exponent, std::max(a.bits + (a.exponent - exponent), b.bits + (b.exponent - exponent)),
            a.hasSign || b.hasSign};
}

int Operand::neededBits() const {
    return std::max(integers::neededBits(real.extent()), imag ? integers::neededBits(imag->extent()) : 0);
}

namespace {

/// Both parts as `targetOf` gives them.
template <class TargetOf>
std::optional<Results> resultsOf(fi& x, const TargetOf& targetOf) {
    const auto part = [&](const number& entries) {
        return targetOf(const_cast<number&>(entries), x.getNumericType(), x.numel());
    };
    const std::optional<Target> real = part(x.real());
    const std::optional<Target> imag = x.iscomplex() ? part(x.imag()) : std::nullopt;
    if (!real || (x.iscomplex() && !imag)) {
        return std::nullopt;
    }
    return Results{&x, *real, imag};
}

}  // namespace

std::optional<Results> Results::of(fi& x) {
    return resultsOf(x, Target::of);
}

std::optional<Results> Results::ofSums(fi& x) {
    return resultsOf(x, Target::ofSums);
}

void Results::clear() {
    real.clear(count());
    if (imag) {
        imag->clear(count());
    }
}

bool Results::areHeld() const {
    const auto isHeld = [](const number& entries) { return entries.asDouble() || entries.asWords(); };
    return isHeld(array->real()) && (array->isreal() || isHeld(array->imag()));
}

}  // namespace tolvane::detail::wide
