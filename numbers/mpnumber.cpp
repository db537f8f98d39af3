#include "numbers/mpnumber.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <numeric>
#include <span>
#include <utility>

#include "numbers/errors.h"
#include "numbers/gmpinteger.h"
#include "numbers/mpnumber.inl.h"
#include "numbers/mpscratch.h"
#include "numbers/rounding.h"
#include "numbers/services.h"
#include "numbers/stridesort.h"
#include "numbers/truncation.h"

using namespace tolvane::detail;

namespace {

bool isLess(mpfr_srcptr a, mpfr_srcptr b) {
    return mpfr_greater_p(b, a) != 0;
}
bool isEqual(mpfr_srcptr a, mpfr_srcptr b) {
    return mpfr_equal_p(a, b) != 0;
}

/// x = x * 2^n; n as a long, so that every int can be negated.
void scale(mpfr_ptr x, long n) {
    mpfr_mul_2si(x, x, n, MPFR_RNDN);
}

/// x = floor(x).
void floorInPlace(mpfr_ptr x) {
    mpfr_rint(x, x, MPFR_RNDD);
}

}  // namespace

// Elements as floats.

std::span<const mpfr_ptr> mpnumber::elements() {
    return {state().makeFloats().elements(), state().elementCount};
}
mpfr_srcptr mpnumber::getelement() const {
    return state().makeFloats()[mCursor];
}
mpfr_srcptr mpnumber::getelement(std::uint64_t index) const {
    return state().makeFloats()[index];
}
mpfr_ptr mpnumber::getmodifiableelement() {
    return state().makeFloats()[mCursor];
}
mpfr_ptr mpnumber::getmodifiableelement(std::uint64_t index) {
    return state().makeFloats()[index];
}

// The array.

floatarray& mpnumber::State::convertToFloats() {
    floatarray fresh(elementCount, newPrecision());
    for (std::uint64_t i = 0; i < elementCount; ++i) {
        words()->load(i, fresh[i]);
    }
    return form.emplace<floatarray>(std::move(fresh));
}

void mpnumber::State::resize(std::uint64_t count) {
    if (wordarray* const held = words()) {
        held->resize(count);
    } else {
        form = floats()->resized(count, newPrecision());
    }
    elementCount = count;
}

mpnumber::State* mpnumber::makeState(std::uint64_t count, std::uint32_t precision) {
    return makeState(count, precision, floatarray(count, elementPrecision(precision)));
}

template <class Form>
mpnumber::State* mpnumber::makeState(std::uint64_t count, std::uint32_t precision, Form form) {
    State* state = new (std::nothrow) State(count, precision, std::move(form));
    if (!state) {
        raiseOutOfMemory();
    }
    return state;
}

/// Makes a state of elements of another, in the same form; that of one element has floats.
mpnumber::State* mpnumber::makeCopy(State& source, std::uint64_t start, std::uint64_t count) {
    if (wordarray* const words = source.words(); words && count != 1) {
        return makeState(count, source.storedPrecision, wordarray(*words, start, count));
    }
    floatarray fresh(count, source.newPrecision());
    for (std::uint64_t i = 0; i < count; ++i) {
        if (wordarray* const words = source.words()) {
            words->load(start + i, fresh[i]);
        } else {
            mpfr_set(fresh[i], (*source.floats())[start + i], MPFR_RNDN);
        }
    }
    return makeState(count, source.storedPrecision, std::move(fresh));
}

mpnumber::mpnumber(double value, std::uint32_t precision)
    : numberrepbody(numbertype::mpnumber, makeState(1, precision)) {
    setvalue(value);
}

mpnumber::mpnumber(std::uint64_t count, std::uint32_t precision, NumberVector)
    : numberrepbody(numbertype::mpnumber, makeState(count, precision)) {}

mpnumber::mpnumber(std::uint64_t count, std::uint32_t precision, const WordGrid& grid)
    : numberrepbody(numbertype::mpnumber, makeState(count, precision, wordarray(count, grid))) {}

mpnumber::mpnumber(const mpnumber& source)
    : numberrepbody(numbertype::mpnumber, makeCopy(source.state(), source.mCursor, source.isempty() ? 0 : 1)) {}

mpnumber::mpnumber(const mpnumber* source, NumberVector) : mpnumber(source, 0, source->numel()) {}

mpnumber::mpnumber(const mpnumber* source, std::uint64_t start, std::uint64_t count)
    : numberrepbody(numbertype::mpnumber, makeCopy(source->state(), start, count)) {}

mpnumber::mpnumber(const mpnumber* source, CopyIndex) : numberrepbody(numbertype::mpnumber, source->mState) {
    incrcount();
}

mpnumber::~mpnumber() {
    if (releaseState()) {
        delete &state();
    }
}

mpnumber& mpnumber::operator=(const mpnumber& source) {
    if (this != &source) {
        assign(Reading(source));
    }
    return *this;
}

/// Widens the current element to the precision of the value if it has less, and sets it.
void mpnumber::assign(mpfr_srcptr value) {
    if (state().words() && mpfr_get_prec(value) <= state().newPrecision()) {
        put(value);
        return;
    }
    floatarray& floats = state().makeFloats();
    if (mpfr_get_prec(floats[mCursor]) < mpfr_get_prec(value)) {
        // The value may be in this array, whose old floats stay in place while they are copied.
        floats.replace(mCursor, mpfr_get_prec(value));
    }
    mpfr_set(floats[mCursor], value, MPFR_RNDN);
}

/// Sets the current element to a value of its precision.
void mpnumber::put(mpfr_srcptr value) {
    wordarray* const words = state().words();
    if (!words || !words->store(mCursor, value)) {
        mpfr_set(state().makeFloats()[mCursor], value, MPFR_RNDN);
    }
}

// Words.

const WordGrid* mpnumber::grid() const {
    const wordarray* const words = state().words();
    return words ? &words->grid() : nullptr;
}

WordSpan mpnumber::words() const {
    return state().words()->span();
}

wordarray& mpnumber::rewrite(const WordGrid& grid) {
    wordarray* const held = state().words();
    return held && held->grid() == grid ? *held : state().form.emplace<wordarray>(wordarray(numel(), grid));
}

mpnumber* mpnumber::clone() const {
    return new mpnumber(*this);
}

void mpnumber::resize(std::uint64_t count) {
    state().resize(count);
}

void mpnumber::resize(std::uint64_t count, const WordGrid& grid) {
    State& s = state();
    if (s.words() || !canBeWords(count, s.storedPrecision, grid)) {
        s.resize(count);
        return;
    }
    wordarray fresh(count, grid);
    const floatarray& floats = *s.floats();
    for (std::uint64_t i = 0; i < std::min(count, s.elementCount); ++i) {
        if (!fresh.store(i, floats[i])) {
            s.resize(count);
            return;
        }
    }
    s.form = std::move(fresh);
    s.elementCount = count;
}

namespace {

/// Sets x to the integer held in the words, rounded to nearest, times 2^exponent.
void setInteger(mpfr_ptr x, const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, long exponent) {
    gmpinteger integer;
    if (wordCount > 0) {
        setUnits(integer, static_cast<std::size_t>(wordCount), sizeof(std::uint32_t), words);
    }
    if (isSigned && wordlength > 0 && mpz_tstbit(integer, static_cast<mp_bitcnt_t>(wordlength) - 1) != 0) {
        gmpinteger modulus;
        setBit(modulus, static_cast<mp_bitcnt_t>(wordlength));
        subtract(integer, integer, modulus);
    }
    mpfr_set_z(x, integer, MPFR_RNDN);
    scale(x, exponent);
}

}  // namespace

void mpnumber::setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, double, int exponent,
                        double) {
    change([&](mpfr_ptr x) { setInteger(x, words, wordCount, isSigned, wordlength, exponent); });
}

void mpnumber::setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, int fractionlength) {
    change(
        [&](mpfr_ptr x) { setInteger(x, words, wordCount, isSigned, wordlength, -static_cast<long>(fractionlength)); });
}

void mpnumber::setvalue(const mpnumber& source) {
    wordarray* const words = state().words();
    const wordarray* const sourceWords = source.state().words();
    if (words && sourceWords && words->grid() == sourceWords->grid()) {
        words->copyRun(sourceWords->span(), source.mCursor, mCursor, 1);
        return;
    }
    const Reading value(source);
    change([&](mpfr_ptr x) { mpfr_set(x, value, MPFR_RNDZ); });
}

bool mpnumber::isempty() const {
    return numel() == 0;
}
double mpnumber::todouble() const {
    const wordarray* const words = state().words();
    return words ? words->toDouble(mCursor) : mpfr_get_d(Access::element(*this), MPFR_RNDN);
}
void mpnumber::setvalue(double value) {
    change([value](mpfr_ptr x) { mpfr_set_d(x, value, MPFR_RNDN); });
}
bool mpnumber::isFinite() const {
    return state().words() || mpfr_number_p(Access::element(*this)) != 0;
}
bool mpnumber::myisinf() const {
    return !state().words() && mpfr_inf_p(Access::element(*this)) != 0;
}
bool mpnumber::iszero() const {
    const wordarray* const words = state().words();
    return words ? words->isZero(mCursor) : mpfr_zero_p(Access::element(*this)) != 0;
}
bool mpnumber::isnegative() const {
    const wordarray* const words = state().words();
    return words ? words->isNegative(mCursor) : mpfr_signbit(Access::element(*this)) != 0;
}
bool mpnumber::myisnan() const {
    return !state().words() && mpfr_nan_p(Access::element(*this)) != 0;
}
std::uint32_t mpnumber::getprecision() const {
    return static_cast<std::uint32_t>(state().words() ? state().newPrecision() : mpfr_get_prec(Access::element(*this)));
}
bool mpnumber::operator<(const mpnumber& other) const {
    return mpfr_less_p(Reading(*this), Reading(other)) != 0;
}
bool mpnumber::operator<=(const mpnumber& other) const {
    return mpfr_lessequal_p(Reading(*this), Reading(other)) != 0;
}
bool mpnumber::operator>(const mpnumber& other) const {
    return mpfr_greater_p(Reading(*this), Reading(other)) != 0;
}
bool mpnumber::operator>=(const mpnumber& other) const {
    return mpfr_greaterequal_p(Reading(*this), Reading(other)) != 0;
}
bool mpnumber::operator==(const mpnumber& other) const {
    return mpfr_equal_p(Reading(*this), Reading(other)) != 0;
}
bool mpnumber::operator!=(const mpnumber& other) const {
    return mpfr_equal_p(Reading(*this), Reading(other)) == 0;
}

mpfr_prec_t mpnumber::copyPrecision() const {
    return elementPrecision(get_stored_precision());
}

signed char mpnumber::sign() const {
    if (myisnan()) {
        mpfr_set_erangeflag();
    }
    if (myisnan() || iszero()) {
        return 0;
    }
    return isnegative() ? -1 : 1;
}

mpnumber& mpnumber::negate() {
    return change([](mpfr_ptr x) { mpfr_neg(x, x, MPFR_RNDN); });
}

mpnumber& mpnumber::abs() {
    return change([](mpfr_ptr x) { mpfr_abs(x, x, MPFR_RNDN); });
}

mpnumber& mpnumber::pow2(int n) {
    return change([n](mpfr_ptr x) { scale(x, n); });
}

mpnumber& mpnumber::pow2(unsigned n) {
    return change([n](mpfr_ptr x) { mpfr_mul_2ui(x, x, n, MPFR_RNDN); });
}

mpnumber& mpnumber::stripscaling(double, int exponent, double) {
    return change([exponent](mpfr_ptr x) { scale(x, -static_cast<long>(exponent)); });
}

mpnumber& mpnumber::addscaling(double, int exponent, double) {
    return pow2(exponent);
}

namespace {

/// Sorts by an action on the positions of the words, which take part in the same exchanges as floats would.
template <class Sort>
void sortWords(wordarray& words, std::uint64_t count, const Sort& sort) {
    const HostMemory<std::uint64_t> places = allocateHostZeros<std::uint64_t>(count, 1);
    const std::span<std::uint64_t> order(places.get(), count);
    std::iota(order.begin(), order.end(), std::uint64_t{0});
    const WordOrder comparison(words.grid());
    const auto word = [&words](std::uint64_t place) { return std::as_const(words).word(place).data(); };
    sort(
        order.data(), [&](std::uint64_t a, std::uint64_t b) { return comparison.isLess(word(a), word(b)); },
        [&](std::uint64_t a, std::uint64_t b) { return comparison.isEqual(word(a), word(b)); });
    words.permute(order);
}

/// Sorts words of one limb without negative zeros, of which equal ones can't be told apart.
void sortLimbs(wordarray& words, std::uint64_t count, bool ascending, std::uint64_t stride, std::uint64_t length) {
    const WordOrder order(words.grid());
    stridesorting::stridesort(words.limbs(), count, ascending, stride, length,
                              [&order](mp_limb_t a, mp_limb_t b) { return order.isLess(a, b); });
}

}  // namespace

void mpnumber::stridesort(bool ascending, std::uint64_t stride, std::uint64_t length) {
    wordarray* const words = state().words();
    if (!words) {
        stridesorting::stridesort(state().floats()->elements(), numel(), ascending, stride, length, isLess);
    } else if (words->grid().limbs() == 1 && !words->span().negativeZeros) {
        sortLimbs(*words, numel(), ascending, stride, length);
    } else {
        sortWords(*words, numel(), [&](std::uint64_t* order, const auto& less, const auto&) {
            stridesorting::stridesort(order, numel(), ascending, stride, length, less);
        });
    }
}

void mpnumber::stridesort2(double* index, bool ascending, std::uint64_t stride, std::uint64_t length) {
    if (wordarray* const words = state().words()) {
        sortWords(*words, numel(), [&](std::uint64_t* order, const auto& less, const auto& equal) {
            stridesorting::stridesort2(order, index, numel(), ascending, stride, length, less, equal);
        });
        return;
    }
    stridesorting::stridesort2(state().floats()->elements(), index, numel(), ascending, stride, length, isLess,
                               isEqual);
}

mpfr_exp_t mpnumber::getexponent() const {
    // Other values have a mark of their kind in place of the exponent.
    const Reading x(*this);
    return mpfr_regular_p(x) != 0 ? mpfr_get_exp(static_cast<mpfr_srcptr>(x)) : 0;
}

void mpnumber::setexponent(int exponent) {
    change([exponent](mpfr_ptr x) {
        if (mpfr_regular_p(x) != 0) {
            mpfr_set_exp(x, exponent);
        }
    });
}

int mpnumber::unbiasedexponent() const {
    // MPFR's default range of exponents ends at 2^30.
    return static_cast<int>(getexponent() - 1);
}

void mpnumber::setprecision(std::uint32_t precision) {
    state().makeFloats().replace(mCursor, static_cast<mpfr_prec_t>(std::max<std::uint32_t>(precision, 32)) + 1);
}

void mpnumber::disp() const {
    print("\nPrecision = %d\n", static_cast<int>(getprecision()));
}

const mpnumber& mpnumber::getOneHalf() {
    // Made on first use and never destroyed, so that objects of any lifetime can round.
    static const mpnumber& sOneHalf = *new mpnumber(0.5, 64);
    return sOneHalf;
}

// Rounding.

namespace {

void ceilInPlace(mpfr_ptr x) {
    mpfr_rint(x, x, MPFR_RNDU);
}

void fixInPlace(mpfr_ptr x) {
    mpfr_rint(x, x, MPFR_RNDZ);
}

/// Whether rounding at the bit of weight 2^-n can change x. A zero lies below every bit, and its sign can change: -0
/// rounds to nearest as 0.
bool canRoundAt(mpfr_srcptr x, int n) {
    return mpfr_zero_p(x) != 0 || (mpfr_regular_p(x) != 0 ? n + mpfr_get_exp(x) : n) < mpfr_get_prec(x);
}

void nearestInPlace(mpfr_ptr x) {
    mpfr_add(x, x, mpnumber::getOneHalf().getelement(), MPFR_RNDN);
    floorInPlace(x);
}

void roundInPlace(mpfr_ptr x) {
    if (mpfr_signbit(x) != 0) {
        mpfr_sub(x, x, mpnumber::getOneHalf().getelement(), MPFR_RNDN);
        ceilInPlace(x);
    } else {
        nearestInPlace(x);
    }
}

/// Calls a rounding of whole values for the bit of weight 2^-n.
template <class Rounding>
void roundScaled(mpfr_ptr x, int n, const Rounding& rounding) {
    scale(x, n);
    rounding(x);
    scale(x, -static_cast<long>(n));
}

/// Rounds to nearest, ties to even, with intermediate values of a precision. `assign` sets x to one of these and
/// returns it, since it may have to widen it.
template <class Assign>
mpfr_ptr convergentInPlace(mpfr_ptr x, mpfr_prec_t precision, const Assign& assign) {
    mpscratch fraction(precision, x);
    floorInPlace(fraction);
    mpfr_sub(fraction, fraction, x, MPFR_RNDN);
    mpfr_abs(fraction, fraction, MPFR_RNDN);
    if (mpfr_equal_p(fraction, mpnumber::getOneHalf().getelement()) == 0) {
        if (canRoundAt(x, 0)) {
            roundInPlace(x);
        }
        return x;
    }

    mpscratch below(precision, x);
    mpfr_sub(below, below, fraction, MPFR_RNDN);
    mpscratch oddness(precision, below);
    mpfr_div_2ui(oddness, oddness, 1, MPFR_RNDN);
    mpscratch halfFloor(precision, oddness);
    floorInPlace(halfFloor);
    mpfr_sub(oddness, oddness, halfFloor, MPFR_RNDN);
    mpfr_abs(oddness, oddness, MPFR_RNDN);
    mpfr_mul_2ui(oddness, oddness, 1, MPFR_RNDN);
    const mpfr_ptr target = assign(below);
    mpfr_add(target, target, oddness, MPFR_RNDN);
    return target;
}

}  // namespace

mpnumber& mpnumber::ceil(int n) {
    return change([n](mpfr_ptr x) { roundScaled(x, n, ceilInPlace); });
}
mpnumber& mpnumber::fix(int n) {
    return change([n](mpfr_ptr x) { roundScaled(x, n, fixInPlace); });
}
mpnumber& mpnumber::floor(int n) {
    return change([n](mpfr_ptr x) { roundScaled(x, n, floorInPlace); });
}
mpnumber& mpnumber::nearest(int n) {
    return change([n](mpfr_ptr x) {
        if (canRoundAt(x, n)) {
            roundScaled(x, n, nearestInPlace);
        }
    });
}
mpnumber& mpnumber::round(int n) {
    return change([n](mpfr_ptr x) {
        if (canRoundAt(x, n)) {
            roundScaled(x, n, roundInPlace);
        }
    });
}
mpnumber& mpnumber::convergent(int n) {
    if (!state().words()) {
        scale(Access::modifiableElement(*this), n);
        const mpfr_ptr x =
            convergentInPlace(Access::modifiableElement(*this), copyPrecision(), [this](mpfr_srcptr value) {
                assign(value);
                return Access::modifiableElement(*this);
            });
        scale(x, -static_cast<long>(n));
        return *this;
    }
    return change([this, n](mpfr_ptr x) {
        roundScaled(x, n, [this](mpfr_ptr scaled) {
            convergentInPlace(scaled, copyPrecision(), [scaled](mpfr_srcptr value) {
                mpfr_set(scaled, value, MPFR_RNDN);
                return scaled;
            });
        });
    });
}
mpnumber& mpnumber::ceil() {
    return ceil(0);
}
mpnumber& mpnumber::fix() {
    return fix(0);
}
mpnumber& mpnumber::floor() {
    return floor(0);
}
mpnumber& mpnumber::nearest() {
    return nearest(0);
}
mpnumber& mpnumber::round() {
    return round(0);
}
mpnumber& mpnumber::convergent() {
    return convergent(0);
}

// Arithmetic.

/// x = x op other
template <int (*operation)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t)>
mpnumber& mpnumber::combine(const mpnumber& other) {
    const Reading right(other);
    return change([&](mpfr_ptr x) { operation(x, x, right, MPFR_RNDN); });
}
template <int (*operation)(mpfr_ptr, mpfr_srcptr, mpfr_srcptr, mpfr_rnd_t)>
mpnumber& mpnumber::combine(double other) {
    const mpscratch right(elementPrecision(getprecision()), other);
    return change([&](mpfr_ptr x) { operation(x, x, right, MPFR_RNDN); });
}

mpnumber& mpnumber::operator+=(const mpnumber& other) {
    return combine<mpfr_add>(other);
}
mpnumber& mpnumber::operator-=(const mpnumber& other) {
    return combine<mpfr_sub>(other);
}
mpnumber& mpnumber::operator*=(const mpnumber& other) {
    return combine<mpfr_mul>(other);
}
mpnumber& mpnumber::operator/=(const mpnumber& other) {
    return combine<mpfr_div>(other);
}
mpnumber& mpnumber::operator+=(double other) {
    return combine<mpfr_add>(other);
}
mpnumber& mpnumber::operator-=(double other) {
    return combine<mpfr_sub>(other);
}
mpnumber& mpnumber::operator*=(double other) {
    return combine<mpfr_mul>(other);
}
mpnumber& mpnumber::operator/=(double other) {
    return combine<mpfr_div>(other);
}

mpnumber& mpnumber::sqrt() {
    return change([](mpfr_ptr x) { mpfr_sqrt(x, x, MPFR_RNDN); });
}

mpnumber& mpnumber::log() {
    return change([](mpfr_ptr x) { mpfr_log(x, x, MPFR_RNDN); });
}

mpnumber& mpnumber::log2() {
    return change([](mpfr_ptr x) {
        mpscratch logOfTwo(mpfr_get_prec(x));
        mpfr_const_log2(logOfTwo, MPFR_RNDN);
        mpfr_log(x, x, MPFR_RNDN);
        mpfr_div(x, x, logOfTwo, MPFR_RNDN);
    });
}

mpnumber& mpnumber::pow(unsigned n) {
    return change([n](mpfr_ptr x) { mpfr_pow_ui(x, x, n, MPFR_RNDN); });
}

namespace {

/// As mpfr_hypot, which allocates and ends the process if it can't, but for usual exponents in memory of its own: the
/// sum of squares is exact, so that only the root rounds.
void setHypot(mpfr_ptr x, mpfr_srcptr a, mpfr_srcptr b) {
    constexpr mpfr_exp_t kUsual = 1 << 28;
    constexpr mpfr_exp_t kMostBits = 1 << 18;
    const auto isUsual = [](mpfr_srcptr value) {
        return mpfr_regular_p(value) != 0 && mpfr_get_exp(value) < kUsual && mpfr_get_exp(value) > -kUsual;
    };
    if (isUsual(a) && isUsual(b)) {
        const mpfr_exp_t top = 2 * std::max(mpfr_get_exp(a), mpfr_get_exp(b)) + 1;
        const mpfr_exp_t bottom = 2 * std::min(mpfr_get_exp(a) - mpfr_get_prec(a), mpfr_get_exp(b) - mpfr_get_prec(b));
        if (top - bottom <= kMostBits) {
            mpscratch sum(top - bottom);
            mpscratch square(2 * mpfr_get_prec(b));
            mpfr_sqr(sum, a, MPFR_RNDN);
            mpfr_sqr(square, b, MPFR_RNDN);
            mpfr_add(sum, sum, square, MPFR_RNDN);
            mpfr_sqrt(x, sum, MPFR_RNDN);
            return;
        }
    }
    mpfr_hypot(x, a, b, MPFR_RNDN);
}

}  // namespace

mpnumber& mpnumber::hypot(const mpnumber& a, const mpnumber& b) {
    const Reading left(a);
    const Reading right(b);
    return change([&](mpfr_ptr x) { setHypot(x, left, right); });
}

mpnumber& mpnumber::mod(const mpnumber& divisor) {
    const Reading divisorElement(divisor);
    // A copy, since the divisor may be this very element.
    const mpscratch y(mpfr_get_prec(static_cast<mpfr_srcptr>(divisorElement)), divisorElement);
    if (mpfr_zero_p(static_cast<mpfr_srcptr>(y)) != 0) {
        return *this;
    }
    mpscratch whole(divisor.copyPrecision(), y);
    floorInPlace(whole);
    const bool isWhole = mpfr_equal_p(y, whole) != 0;
    return change([&](mpfr_ptr x) {
        if (isWhole) {
            mpscratch multiple(copyPrecision(), x);
            mpfr_div(multiple, multiple, y, MPFR_RNDN);
            floorInPlace(multiple);
            mpfr_mul(multiple, multiple, y, MPFR_RNDN);
            mpfr_sub(x, x, multiple, MPFR_RNDN);
        } else {
            mpfr_div(x, x, y, MPFR_RNDN);
            mpscratch quotientFloor(copyPrecision(), x);
            floorInPlace(quotientFloor);
            mpfr_sub(x, x, quotientFloor, MPFR_RNDN);
            mpfr_mul(x, x, y, MPFR_RNDN);
        }
    });
}

void mpnumber::twoToTheN(mpfr_ptr power, int n) {
    mpfr_init(power);
    mpfr_set_ui_2exp(power, 1, n, MPFR_RNDN);
}

std::int8_t mpnumber::fixed2int8(int, int scale) const {
    return truncateTo<std::int8_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::int16_t mpnumber::fixed2int16(int, int scale) const {
    return truncateTo<std::int16_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::int32_t mpnumber::fixed2int32(int, int scale) const {
    return truncateTo<std::int32_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::int64_t mpnumber::fixed2int64(int, int scale) const {
    return truncateTo<std::int64_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::uint8_t mpnumber::fixed2uint8(int, int scale) const {
    return truncateTo<std::uint8_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::uint16_t mpnumber::fixed2uint16(int, int scale) const {
    return truncateTo<std::uint16_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::uint32_t mpnumber::fixed2uint32(int, int scale) const {
    return truncateTo<std::uint32_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::uint64_t mpnumber::fixed2uint64(int, int scale) const {
    return truncateTo<std::uint64_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
