// Statistics of a pass over integers of many bits; `Tally` is the same for doubles.
#pragma once

#include <gmp.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/export.h"
#include "logging/qlogger.h"
#include "quantization/integer_blocks.h"
#include "quantization/tally.h"

namespace tolvane::detail::integers {

class TOLVANE_API IntegerTally {
 public:
    /// The exponent of the least double.
    static constexpr int kLeastDouble = -1074;

    /// For integers of a width.
    explicit IntegerTally(std::size_t width) : mGreatest(width), mLeast(width), mNotes(2 * width) {}

    void clear();
    /// Where a pass puts its notes, for `join`.
    Notes blank() { return {mNotes.data(), mNotes.data() + mGreatest.limbs.size()}; }
    /// Adds the notes of a pass over `values` values, between or beside those before and of their exponent.
    void join(const Notes& notes, std::size_t values, int exponent);
    /// Adds what a pass over values between or beside those of this one gathered.
    void join(const IntegerTally& other);
    /// Forgets overflows and underflows.
    void dropCounts();
    /// Adds what a later pass gathered.
    void append(const IntegerTally& next);
    /// Whether `append` would leave the sign of a zero extreme open that the log would take.
    bool isOpenAfter(const IntegerTally& next, const qlogger& log) const;
    /// Whether the sign of a zero extreme is open that the log would take, of a tally that was only joined to; and
    /// gives it that of the first zero.
    bool isOpenFor(const qlogger& log) const;
    void settle(bool isFirstZeroNegative);
    /// Whether an extreme is so small that a double may round it to zero.
    bool hasTinyExtremes() const;
    /// Adds the statistics to a log, as one call for each value would do. Gated.
    void handTo(const qlogger& log) const;

 private:
    struct Extreme {
        explicit Extreme(std::size_t width) : limbs(width) {}
        std::vector<mp_limb_t> limbs;
        unsigned zeros = Tally::none;  // the signs of the zeros if it is zero
    };
    enum class Order { beyond, equal, within };
    Order orderOf(const mp_limb_t* limbs, const Extreme& held, bool isGreatest) const;
    void join(Extreme& held, const mp_limb_t* limbs, unsigned zeros, bool isGreatest) const;
    number numberOf(const Extreme& extreme) const;

    Extreme mGreatest;
    Extreme mLeast;
    std::vector<mp_limb_t> mNotes;
    int mExponent = 0;
    std::uint64_t mValues = 0;
    std::uint64_t mOverflows = 0;
    std::uint64_t mUnderflows = 0;
};

}  // namespace tolvane::detail::integers
