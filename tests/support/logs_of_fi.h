// The state of a log as one value, and arrays that hold any values, for tests of array code against element steps.
#pragma once

#include <memory>
#include <ostream>

#include "tests/support/arrays_of_fi.h"

struct Log {
    double max;
    double min;
    std::uint64_t overflows;
    std::uint64_t underflows;
    std::uint64_t operations;
    std::uint64_t mathOperations;
    bool operator==(const Log& other) const {
        return sameBits(max, other.max) && sameBits(min, other.min) && overflows == other.overflows &&
               underflows == other.underflows && operations == other.operations &&
               mathOperations == other.mathOperations;
    }
};
inline Log logOf(const qlogger& log) {
    return {log.getMax().todouble(), log.getMin().todouble(), log.getNoverflows(),
            log.getNunderflows(),    log.getNoperations(),    log.getNMathoperations()};
}
inline std::ostream& operator<<(std::ostream& out, const Log& log) {
    return out << "max " << text(log.max) << ", min " << text(log.min) << ", " << log.overflows << " overflows, "
               << log.underflows << " underflows, " << log.operations << " operations, " << log.mathOperations
               << " math operations";
}

/// Fills a part with values of the type, or at times with values outside the type, as setters and raw stores can leave.
inline void fill(number& part, Random& random, const NumericType& type, const quantizer& q, bool isRaw,
                 bool hasSpecials) {
    for (std::uint64_t i = 0; i < part.numel(); ++i) {
        part[i] = randomInput(random, type);
        if (hasSpecials && random.oneIn(10)) {
            part.setvalue(random.anyDouble());
        }
        if (random.oneIn(12)) {
            part.setvalue(random.oneIn(2) ? 0.0 : -0.0);
        }
        if (!isRaw) {
            q.quantize(part);
        }
    }
}

/// A real or complex array, at times with values outside its type; NaN and infinities are among them if the type has
/// such values, or if requested.
inline std::unique_ptr<fi> anyArray(Random& random, const NumericType& type, const fimath& rules, bool isLocal,
                                    const Sizes& sizes, bool mayBeSpecial = false) {
    const bool isComplex = random.oneIn(2);
    auto made = std::make_unique<fi>(sizes.data(), sizes.size(), type, rules, isComplex, "", isLocal,
                                     Operation::Assignment, 0U);
    const bool isRaw = random.oneIn(4);
    const bool hasSpecials = !type.isFixed() || (isRaw && mayBeSpecial && random.oneIn(2));
    // Raw stores put values of another array into a part, one by one: filling a part of many bits itself would leave
    // values there that aren't of its words.
    const auto store = [&](const auto& part) {
        fi values(sizes.data(), sizes.size(), type, rules, false, "", isLocal, Operation::Assignment, 0U);
        fill(values.real(), random, type, values.getAssignmentQuantizer(), isRaw, hasSpecials);
        for (std::uint64_t i = 0; i < made->numel(); ++i) {
            part(i).setvalue(values.real(i));
        }
    };
    store([&](std::uint64_t i) -> number& { return made->real()[i]; });
    if (isComplex) {
        store([&](std::uint64_t i) -> number& { return const_cast<number&>(made->imag(i)); });
    }
    made->setIndex(0);
    made->resetLogging();
    return made;
}

/// The same array with entries wider than its word needs, which no array code takes.
inline std::unique_ptr<fi> withWideEntries(const fi& source) {
    auto wide = std::make_unique<fi>(source.dims(), source.ndims(), source.getNumericType(), source.getFimath(),
                                     source.iscomplex(), "", source.getFimathIsLocal(), Operation::Assignment, 60U);
    for (std::uint64_t i = 0; i < source.numel(); ++i) {
        const_cast<number&>(wide->real(i)).setvalue(source.real(i));
        if (source.iscomplex()) {
            const_cast<number&>(wide->imag(i)).setvalue(source.imag(i));
        }
    }
    return wide;
}

inline NumericType scaledDouble(const NumericType& type) {
    return NumericType(TypeMode::ScaledDoubleBinaryPoint, type.isSigned(), type.getWordLength(), 1.0,
                       type.getFixedExponent(), 0.0);
}
