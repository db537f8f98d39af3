#include "numbers/numberops.h"

#include "numbers/mpnumber.inl.h"
#include "numbers/mpscratch.h"
#include "numbers/rounding.h"
#include "numbers/truncation.h"

using namespace tolvane::detail;

namespace {

using Arithmetic = int (*)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t);
using Comparison = int (*)(mpfr_srcptr, mpfr_srcptr);
using Reading = mpnumber::Reading;

/// The double operand of a mixed operation, at the precision that a multi-precision copy takes from the other operand.
class promoted : public mpscratch {
 public:
    promoted(const numberrepbody& operand, const mpnumber& other)
        : mpscratch(mpnumber::elementPrecision(other.getprecision()), operand.todouble()) {}
};

/// A multi-precision operand, or a double one at a precision.
class Promotion {
 public:
    Promotion(const numberrepbody& body, mpfr_prec_t precision) {
        if (const mpnumber* const wide = body.asMp()) {
            mWide.emplace(*wide);
        } else {
            mCopy.emplace(precision, body.todouble());
        }
    }
    operator mpfr_srcptr() const { return mWide ? static_cast<mpfr_srcptr>(*mWide) : static_cast<mpfr_srcptr>(*mCopy); }

 private:
    std::optional<Reading> mWide;
    std::optional<mpscratch> mCopy;
};

/// a = a op b, where at least one body is multi-precision.
template <Arithmetic operation>
void combine(numberrepbody& a, const numberrepbody& b) {
    mpnumber* const target = a.asMp();
    const mpnumber* const operand = b.asMp();
    if (target && operand) {
        const Reading right(*operand);
        target->change([&](mpfr_ptr x) { operation(x, x, right, MPFR_RNDN); });
    } else if (target) {
        const promoted right(b, *target);
        target->change([&](mpfr_ptr x) { operation(x, x, right, MPFR_RNDN); });
    } else {
        promoted wide(a, *operand);
        operation(wide, wide, Reading(*operand), MPFR_RNDN);
        a.setvalue(mpfr_get_d(wide, MPFR_RNDN));
    }
}

// Out of line, so that comparing two multi-precision values doesn't set up the frame of a temporary.
template <Comparison comparison>
[[gnu::noinline]] bool compareMixed(const numberrepbody& a, const numberrepbody& b) {
    const mpnumber* const left = a.asMp();
    const mpnumber* const right = b.asMp();
    if (left) {
        return comparison(Reading(*left), promoted(b, *left)) != 0;
    }
    return comparison(promoted(a, *right), Reading(*right)) != 0;
}

template <Comparison comparison>
bool compare(const numberrepbody& a, const numberrepbody& b) {
    const mpnumber* const left = a.asMp();
    const mpnumber* const right = b.asMp();
    return left && right ? comparison(Reading(*left), Reading(*right)) != 0 : compareMixed<comparison>(a, b);
}

template <class Integer>
Integer cast(const numberrepbody& body, int scale) {
    return truncateTo<Integer>(rounding::scaleByPowerOfTwo(body.todouble(), scale));
}

}  // namespace

void numberops::mixedPlus(numberrepbody& a, const numberrepbody& b) {
    combine<mpfr_add>(a, b);
}
void numberops::mixedMinus(numberrepbody& a, const numberrepbody& b) {
    combine<mpfr_sub>(a, b);
}
void numberops::mixedTimes(numberrepbody& a, const numberrepbody& b) {
    combine<mpfr_mul>(a, b);
}
void numberops::mixedDivide(numberrepbody& a, const numberrepbody& b) {
    combine<mpfr_div>(a, b);
}

void numberops::mixedMod(numberrepbody& a, const numberrepbody& b) {
    mpnumber* const target = a.asMp();
    const mpnumber* const divisor = b.asMp();
    if (target && divisor) {
        target->mod(*divisor);
    } else if (target) {
        target->mod(mpnumber(b.todouble(), target->getprecision()));
    } else {
        mpnumber wide(a.todouble(), divisor->getprecision());
        wide.mod(*divisor);
        a.setvalue(wide.todouble());
    }
}

bool numberops::mixedLess(const numberrepbody& a, const numberrepbody& b) {
    return compare<mpfr_less_p>(a, b);
}
bool numberops::mixedLessOrEqual(const numberrepbody& a, const numberrepbody& b) {
    return compare<mpfr_lessequal_p>(a, b);
}
bool numberops::mixedEqual(const numberrepbody& a, const numberrepbody& b) {
    return compare<mpfr_equal_p>(a, b);
}

void numberops::mixedSetvalue(numberrepbody& target, const numberrepbody& source) {
    mpnumber* const wideTarget = target.asMp();
    const mpnumber* const wideSource = source.asMp();
    if (wideTarget && wideSource) {
        wideTarget->setvalue(*wideSource);
    } else {
        target.setvalue(source.todouble());
    }
}

void numberops::hypot(numberrepbody& target, const numberrepbody& a, const numberrepbody& b) {
    mpnumber* const wideTarget = target.asMp();
    if (!wideTarget) {
        target.asDouble()->hypot(a.todouble(), b.todouble());
        return;
    }
    const mpfr_prec_t precision = mpnumber::elementPrecision(target.get_stored_precision());
    const Promotion left(a, precision);
    const Promotion right(b, precision);
    wideTarget->change([&](mpfr_ptr x) { mpfr_hypot(x, left, right, MPFR_RNDN); });
}

std::int8_t numberops::fixed2int8(const numberrepbody& body, int, int scale) {
    return cast<std::int8_t>(body, scale);
}
std::int16_t numberops::fixed2int16(const numberrepbody& body, int, int scale) {
    return cast<std::int16_t>(body, scale);
}
std::int32_t numberops::fixed2int32(const numberrepbody& body, int, int scale) {
    return cast<std::int32_t>(body, scale);
}
std::int64_t numberops::fixed2int64(const numberrepbody& body, int, int scale) {
    return cast<std::int64_t>(body, scale);
}
std::uint8_t numberops::fixed2uint8(const numberrepbody& body, int, int scale) {
    return cast<std::uint8_t>(body, scale);
}
std::uint16_t numberops::fixed2uint16(const numberrepbody& body, int, int scale) {
    return cast<std::uint16_t>(body, scale);
}
std::uint32_t numberops::fixed2uint32(const numberrepbody& body, int, int scale) {
    return cast<std::uint32_t>(body, scale);
}
std::uint64_t numberops::fixed2uint64(const numberrepbody& body, int, int scale) {
    return cast<std::uint64_t>(body, scale);
}
