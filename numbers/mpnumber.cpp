#include "numbers/mpnumber.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <new>
#include <utility>

#include "host/bs.h"
#include "host/hsc.h"
#include "numbers/errors.h"
#include "numbers/gmpinteger.h"
#include "numbers/mpnumber.inl.h"
#include "numbers/mpscratch.h"
#include "numbers/rounding.h"
#include "numbers/stridesort.h"
#include "numbers/truncation.h"

using namespace tolvane::detail;

namespace {

/// A float and its significand in one block of memory.
std::uint64_t floatBytes(mpfr_prec_t precision) {
    return sizeof(__mpfr_struct) + mpfr_custom_get_size(precision);
}

/// Makes a zero of the precision in memory of that many `floatBytes`.
mpfr_ptr placeFloat(void* memory, mpfr_prec_t precision) {
    auto* const value = static_cast<mpfr_ptr>(memory);
    void* const significand = value + 1;
    mpfr_custom_init(significand, precision);
    mpfr_custom_init_set(value, MPFR_ZERO_KIND, 0, precision, significand);
    return value;
}

void* allocate(std::uint64_t bytes) {
    void* const memory = bsMalloc(bytes);
    if (!memory) {
        raiseOutOfMemory();
    }
    return memory;
}

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

std::span<const mpfr_ptr> mpnumber::elements() {
    return {state().elements, state().elementCount};
}
mpfr_srcptr mpnumber::getelement() const {
    return state().elements[mCursor];
}
mpfr_srcptr mpnumber::getelement(std::uint64_t index) const {
    return state().elements[index];
}
mpfr_ptr mpnumber::getmodifiableelement() {
    return state().elements[mCursor];
}
mpfr_ptr mpnumber::getmodifiableelement(std::uint64_t index) {
    return state().elements[index];
}

// The array.

mpnumber::State::State(std::uint64_t count, std::uint32_t precision) : SharedState(count, precision) {
    if (count == 0) {
        return;
    }
    const mpfr_prec_t bits = elementPrecision(precision);
    const std::uint64_t bytesOfOne = floatBytes(bits);
    if (__builtin_mul_overflow(count, sizeof(mpfr_ptr) + bytesOfOne, &blockBytes) || blockBytes > PTRDIFF_MAX) {
        raiseOutOfMemory();
    }
    block = allocate(blockBytes);
    elements = static_cast<mpfr_ptr*>(block);
    auto* place = reinterpret_cast<std::byte*>(elements + count);
    for (std::uint64_t i = 0; i < count; ++i, place += bytesOfOne) {
        elements[i] = placeFloat(place, bits);
    }
}

mpnumber::State::~State() {
    if (hasReplaced) {
        for (std::uint64_t i = 0; i < elementCount; ++i) {
            if (!isInBlock(elements[i])) {
                bsFree(elements[i]);
            }
        }
    }
    bsFree(block);
}

bool mpnumber::State::isInBlock(mpfr_srcptr element) const {
    const auto* const start = static_cast<const std::byte*>(block);
    const auto* const place = reinterpret_cast<const std::byte*>(element);
    return std::greater_equal<>()(place, start) && std::less<>()(place, start + blockBytes);
}

void mpnumber::State::resize(std::uint64_t count) {
    State fresh(count, storedPrecision);
    for (std::uint64_t i = 0; i < std::min(count, elementCount); ++i) {
        mpfr_set(fresh.elements[i], elements[i], MPFR_RNDN);
    }
    std::swap(elementCount, fresh.elementCount);
    std::swap(elements, fresh.elements);
    std::swap(block, fresh.block);
    std::swap(blockBytes, fresh.blockBytes);
    std::swap(hasReplaced, fresh.hasReplaced);
}

void mpnumber::State::replace(std::uint64_t index, mpfr_prec_t precision) {
    const mpfr_ptr wider = placeFloat(allocate(floatBytes(precision)), precision);
    mpfr_set(wider, elements[index], MPFR_RNDN);
    if (!isInBlock(elements[index])) {
        bsFree(elements[index]);
    }
    elements[index] = wider;
    hasReplaced = true;
}

mpnumber::State* mpnumber::makeState(std::uint64_t count, std::uint32_t precision) {
    State* state = new (std::nothrow) State(count, precision);
    if (!state) {
        raiseOutOfMemory();
    }
    return state;
}

mpnumber::mpnumber(double value, std::uint32_t precision)
    : numberrepbody(numbertype::mpnumber, makeState(1, precision)) {
    setvalue(value);
}

mpnumber::mpnumber(std::uint64_t count, std::uint32_t precision, NumberVector)
    : numberrepbody(numbertype::mpnumber, makeState(count, precision)) {}

mpnumber::mpnumber(const mpnumber& source)
    : numberrepbody(numbertype::mpnumber, makeState(source.isempty() ? 0 : 1, source.get_stored_precision())) {
    if (!isempty()) {
        mpfr_set(getmodifiableelement(), source.getelement(), MPFR_RNDN);
    }
}

mpnumber::mpnumber(const mpnumber* source, NumberVector) : mpnumber(source, 0, source->numel()) {}

mpnumber::mpnumber(const mpnumber* source, std::uint64_t start, std::uint64_t count)
    : numberrepbody(numbertype::mpnumber, makeState(count, source->get_stored_precision())) {
    for (std::uint64_t i = 0; i < count; ++i) {
        mpfr_set(getmodifiableelement(i), source->getelement(start + i), MPFR_RNDN);
    }
}

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
        assign(source.getelement());
    }
    return *this;
}

/// Widens the current element to the precision of the value if it has less, and sets it.
void mpnumber::assign(mpfr_srcptr value) {
    if (mpfr_get_prec(getelement()) < mpfr_get_prec(value)) {
        // The value may be in this array, whose old floats stay in place while they are copied.
        state().replace(mCursor, mpfr_get_prec(value));
    }
    mpfr_set(getmodifiableelement(), value, MPFR_RNDN);
}

mpnumber* mpnumber::clone() const {
    return new mpnumber(*this);
}

void mpnumber::resize(std::uint64_t count) {
    state().resize(count);
}

/// Sets the integer held in the words, which the element's precision rounds to nearest.
void mpnumber::setinteger(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength) {
    gmpinteger integer;
    if (wordCount > 0) {
        mpz_import(integer, static_cast<std::size_t>(wordCount), -1, sizeof(std::uint32_t), 0, 0, words);
    }
    if (isSigned && wordlength > 0 && mpz_tstbit(integer, static_cast<mp_bitcnt_t>(wordlength) - 1) != 0) {
        gmpinteger modulus;
        mpz_setbit(modulus, static_cast<mp_bitcnt_t>(wordlength));
        mpz_sub(integer, integer, modulus);
    }
    mpfr_set_z(getmodifiableelement(), integer, MPFR_RNDN);
}

void mpnumber::setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, double, int exponent,
                        double) {
    setinteger(words, wordCount, isSigned, wordlength);
    pow2(exponent);
    bsResetFPU();
}

void mpnumber::setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, int fractionlength) {
    setinteger(words, wordCount, isSigned, wordlength);
    scale(getmodifiableelement(), -static_cast<long>(fractionlength));
    bsResetFPU();
}

void mpnumber::setvalue(const mpnumber& source) {
    mpfr_set(getmodifiableelement(), source.getelement(), MPFR_RNDZ);
}

bool mpnumber::isempty() const {
    return numel() == 0;
}
double mpnumber::todouble() const {
    return mpfr_get_d(getelement(), MPFR_RNDN);
}
void mpnumber::setvalue(double value) {
    mpfr_set_d(getmodifiableelement(), value, MPFR_RNDN);
}
bool mpnumber::isFinite() const {
    return mpfr_number_p(getelement()) != 0;
}
bool mpnumber::myisinf() const {
    return mpfr_inf_p(getelement()) != 0;
}
bool mpnumber::iszero() const {
    return mpfr_zero_p(getelement()) != 0;
}
bool mpnumber::isnegative() const {
    return mpfr_signbit(getelement()) != 0;
}
bool mpnumber::myisnan() const {
    return mpfr_nan_p(getelement()) != 0;
}
std::uint32_t mpnumber::getprecision() const {
    return static_cast<std::uint32_t>(mpfr_get_prec(getelement()));
}
bool mpnumber::operator<(const mpnumber& other) const {
    return mpfr_less_p(getelement(), other.getelement()) != 0;
}
bool mpnumber::operator<=(const mpnumber& other) const {
    return mpfr_lessequal_p(getelement(), other.getelement()) != 0;
}
bool mpnumber::operator>(const mpnumber& other) const {
    return mpfr_greater_p(getelement(), other.getelement()) != 0;
}
bool mpnumber::operator>=(const mpnumber& other) const {
    return mpfr_greaterequal_p(getelement(), other.getelement()) != 0;
}
bool mpnumber::operator==(const mpnumber& other) const {
    return mpfr_equal_p(getelement(), other.getelement()) != 0;
}
bool mpnumber::operator!=(const mpnumber& other) const {
    return mpfr_equal_p(getelement(), other.getelement()) == 0;
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
    mpfr_neg(getmodifiableelement(), getelement(), MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::abs() {
    mpfr_abs(getmodifiableelement(), getelement(), MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::pow2(int n) {
    scale(getmodifiableelement(), n);
    return *this;
}

mpnumber& mpnumber::pow2(unsigned n) {
    mpfr_mul_2ui(getmodifiableelement(), getelement(), n, MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::stripscaling(double, int exponent, double) {
    scale(getmodifiableelement(), -static_cast<long>(exponent));
    return *this;
}

mpnumber& mpnumber::addscaling(double, int exponent, double) {
    return pow2(exponent);
}

void mpnumber::stridesort(bool ascending, std::uint64_t stride, std::uint64_t length) {
    stridesorting::stridesort(state().elements, numel(), ascending, stride, length, isLess);
}

void mpnumber::stridesort2(double* index, bool ascending, std::uint64_t stride, std::uint64_t length) {
    stridesorting::stridesort2(state().elements, index, numel(), ascending, stride, length, isLess, isEqual);
}

mpfr_exp_t mpnumber::getexponent() const {
    // Other values have a mark of their kind in place of the exponent.
    return mpfr_regular_p(getelement()) != 0 ? mpfr_get_exp(getelement()) : 0;
}

void mpnumber::setexponent(int exponent) {
    if (mpfr_regular_p(getelement()) != 0) {
        mpfr_set_exp(getmodifiableelement(), exponent);
    }
}

int mpnumber::unbiasedexponent() const {
    // MPFR's default range of exponents ends at 2^30.
    return static_cast<int>(getexponent() - 1);
}

void mpnumber::setprecision(std::uint32_t precision) {
    state().replace(mCursor, static_cast<mpfr_prec_t>(std::max<std::uint32_t>(precision, 32)) + 1);
}

void mpnumber::disp() const {
    hscPrintf("\nPrecision = %d\n", static_cast<int>(getprecision()));
}

const mpnumber& mpnumber::getOneHalf() {
    // Made on first use and never destroyed, so that objects of any lifetime can round.
    static const mpnumber& sOneHalf = *new mpnumber(0.5, 64);
    return sOneHalf;
}

mpnumber& mpnumber::floor() {
    floorInPlace(getmodifiableelement());
    return *this;
}

mpnumber& mpnumber::ceil() {
    mpfr_rint(getmodifiableelement(), getelement(), MPFR_RNDU);
    return *this;
}

mpnumber& mpnumber::fix() {
    mpfr_rint(getmodifiableelement(), getelement(), MPFR_RNDZ);
    return *this;
}

/// Whether rounding at the bit of weight 2^-n can change the current element. A zero lies below every bit, and its sign
/// can change: -0 rounds to nearest as 0.
bool mpnumber::canRoundAt(int n) const {
    return iszero() || n + getexponent() < mpfr_get_prec(getelement());
}

mpnumber& mpnumber::nearest() {
    if (canRoundAt(0)) {
        *this += getOneHalf();
        floor();
    }
    return *this;
}

mpnumber& mpnumber::round() {
    if (canRoundAt(0)) {
        if (isnegative()) {
            *this -= getOneHalf();
            ceil();
        } else {
            *this += getOneHalf();
            floor();
        }
    }
    return *this;
}

mpnumber& mpnumber::convergent() {
    const mpfr_srcptr x = getelement();
    mpscratch fraction(copyPrecision(), x);
    floorInPlace(fraction);
    mpfr_sub(fraction, fraction, x, MPFR_RNDN);
    mpfr_abs(fraction, fraction, MPFR_RNDN);
    if (mpfr_equal_p(fraction, getOneHalf().getelement()) == 0) {
        return round();
    }

    mpscratch below(copyPrecision(), x);
    mpfr_sub(below, below, fraction, MPFR_RNDN);
    mpscratch oddness(copyPrecision(), below);
    mpfr_div_2ui(oddness, oddness, 1, MPFR_RNDN);
    mpscratch halfFloor(copyPrecision(), oddness);
    floorInPlace(halfFloor);
    mpfr_sub(oddness, oddness, halfFloor, MPFR_RNDN);
    mpfr_abs(oddness, oddness, MPFR_RNDN);
    mpfr_mul_2ui(oddness, oddness, 1, MPFR_RNDN);
    assign(below);
    mpfr_add(getmodifiableelement(), getelement(), oddness, MPFR_RNDN);
    return *this;
}

/// Rounds by a whole-number operation at the bit of weight 2^-n.
template <mpnumber& (mpnumber::*Operation)()>
mpnumber& mpnumber::roundAtBit(int n) {
    scale(getmodifiableelement(), n);
    (this->*Operation)();
    scale(getmodifiableelement(), -static_cast<long>(n));
    return *this;
}

mpnumber& mpnumber::ceil(int n) {
    return roundAtBit<&mpnumber::ceil>(n);
}
mpnumber& mpnumber::convergent(int n) {
    return roundAtBit<&mpnumber::convergent>(n);
}
mpnumber& mpnumber::fix(int n) {
    return roundAtBit<&mpnumber::fix>(n);
}
mpnumber& mpnumber::floor(int n) {
    return roundAtBit<&mpnumber::floor>(n);
}
mpnumber& mpnumber::nearest(int n) {
    return canRoundAt(n) ? roundAtBit<&mpnumber::nearest>(n) : *this;
}
mpnumber& mpnumber::round(int n) {
    return canRoundAt(n) ? roundAtBit<&mpnumber::round>(n) : *this;
}

mpnumber& mpnumber::operator+=(const mpnumber& other) {
    mpfr_add(getmodifiableelement(), getelement(), other.getelement(), MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::operator-=(const mpnumber& other) {
    mpfr_sub(getmodifiableelement(), getelement(), other.getelement(), MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::operator*=(const mpnumber& other) {
    mpfr_mul(getmodifiableelement(), getelement(), other.getelement(), MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::operator/=(const mpnumber& other) {
    mpfr_div(getmodifiableelement(), getelement(), other.getelement(), MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::operator+=(double other) {
    const mpscratch operand(elementPrecision(getprecision()), other);
    mpfr_add(getmodifiableelement(), getelement(), operand, MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::operator-=(double other) {
    const mpscratch operand(elementPrecision(getprecision()), other);
    mpfr_sub(getmodifiableelement(), getelement(), operand, MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::operator*=(double other) {
    const mpscratch operand(elementPrecision(getprecision()), other);
    mpfr_mul(getmodifiableelement(), getelement(), operand, MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::operator/=(double other) {
    const mpscratch operand(elementPrecision(getprecision()), other);
    mpfr_div(getmodifiableelement(), getelement(), operand, MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::sqrt() {
    mpfr_sqrt(getmodifiableelement(), getelement(), MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::log() {
    mpfr_log(getmodifiableelement(), getelement(), MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::log2() {
    mpscratch logOfTwo(mpfr_get_prec(getelement()));
    mpfr_const_log2(logOfTwo, MPFR_RNDN);
    log();
    mpfr_div(getmodifiableelement(), getelement(), logOfTwo, MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::pow(unsigned n) {
    mpfr_pow_ui(getmodifiableelement(), getelement(), n, MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::hypot(const mpnumber& a, const mpnumber& b) {
    mpfr_hypot(getmodifiableelement(), a.getelement(), b.getelement(), MPFR_RNDN);
    return *this;
}

mpnumber& mpnumber::mod(const mpnumber& divisor) {
    const mpfr_ptr x = getmodifiableelement();
    // A copy, since the divisor may be this very element.
    const mpscratch y(mpfr_get_prec(divisor.getelement()), divisor.getelement());
    if (mpfr_zero_p(y) != 0) {
        return *this;
    }
    mpscratch whole(divisor.copyPrecision(), y);
    floorInPlace(whole);
    if (mpfr_equal_p(y, whole) != 0) {
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
    return *this;
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
