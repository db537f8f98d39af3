#include "numbers/number.h"

#include <utility>

#include "numbers/mpnumber.h"
#include "numbers/numberfactory.h"

using tolvane::detail::WordGrid;

constinit thread_local std::uint32_t number::sDefaultPrecision = doublenumber::kScalarPrecision;
constinit thread_local bool number::sDefaultForceMultiplePrecision = false;

number::number() : number(0.0, sDefaultPrecision, sDefaultForceMultiplePrecision) {}

number::number(double value, std::uint32_t precision, bool force)
    : mBody(numberfactory::createnumberScalar(value, precision, force)) {}

number::number(std::uint64_t count, std::uint32_t precision, NumberVector)
    : mBody(numberfactory::createnumberVector(count, precision)) {}

number::number(std::uint64_t count, std::uint32_t precision, UnsetVector tag)
    : mBody(numberfactory::createnumberVector(count, precision, tag)) {}

number::number(std::uint64_t count, std::uint32_t precision, const WordGrid& grid, bool areUnset)
    : mBody(numberfactory::createnumberVector(count, precision, grid, areUnset)) {}

number::number(const number& source, NumberVector) : mBody(numberfactory::createnumberVector(source.mBody)) {}

number::number(const number& source, std::uint64_t start, std::uint64_t count)
    : mBody(numberfactory::createnumberVector(source.mBody, start, count)) {}

number::number(const number& source, CopyIndex tag) : mBody(numberfactory::createnumber(source.mBody, tag)) {}

number::number(const number& source) : number(1, source.getprecision(), NumberVector::tag) {
    // An empty array has no current element to copy.
    if (!source.isempty()) {
        setvalue(source);
    }
}

number::~number() {
    delete mBody;
}

void number::setDefaultPrecision(std::uint32_t precision, bool force) {
    sDefaultPrecision = precision;
    sDefaultForceMultiplePrecision = force;
}
void number::setDefaultForceMultiplePrecision(bool force) {
    sDefaultForceMultiplePrecision = force;
}
std::uint32_t number::getDefaultPrecision() {
    return sDefaultPrecision;
}
bool number::getDefaultForceMultiplePrecision() {
    return sDefaultForceMultiplePrecision;
}

number& number::resize(std::uint64_t count) {
    if (count != numel()) {
        mBody->resize(count);
    }
    return *this;
}

number& number::resize(std::uint64_t count, std::uint32_t precision) {
    if (precision == getprecision()) {
        return resize(count);
    }
    numberrepbody* const fresh = numberfactory::createnumberVector(count, precision);
    delete std::exchange(mBody, fresh);
    return *this;
}

number& number::resize(std::uint64_t count, std::uint32_t precision, const WordGrid& grid) {
    if (precision == getprecision()) {
        mpnumber* const wide = mBody->asMp();
        if (wide && count != numel()) {
            wide->resize(count, grid);
            return *this;
        }
        return resize(count);
    }
    numberrepbody* const fresh = numberfactory::createnumberVector(count, precision, grid, false);
    delete std::exchange(mBody, fresh);
    return *this;
}

mpnumber* number::asWords() {
    mpnumber* const wide = mBody->asMp();
    return wide && wide->grid() ? wide : nullptr;
}

const mpnumber* number::asWords() const {
    const mpnumber* const wide = std::as_const(*mBody).asMp();
    return wide && wide->grid() ? wide : nullptr;
}

number& number::share(const number& source) {
    numberrepbody* const fresh = numberfactory::createnumber(source.mBody, CopyIndex::tag);
    fresh->setIndex(getIndex());
    delete std::exchange(mBody, fresh);
    return *this;
}

number& number::setvalue(const number& source, double slope, double bias) {
    setvalue(source);
    if (slope != 1.0) {
        *this *= number(slope, sDefaultPrecision, sDefaultForceMultiplePrecision);
    }
    if (bias != 0.0) {
        *this += number(bias, sDefaultPrecision, sDefaultForceMultiplePrecision);
    }
    return *this;
}

number& number::setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, double slope,
                         int exponent, double bias) {
    mBody->setvalue(words, wordCount, isSigned, wordlength, slope, exponent, bias);
    return *this;
}

number number::operator+(const number& other) const {
    number result(*this);
    result += other;
    return result;
}
number number::operator-(const number& other) const {
    number result(*this);
    result -= other;
    return result;
}
number number::operator*(const number& other) const {
    number result(*this);
    result *= other;
    return result;
}
number number::operator/(const number& other) const {
    number result(*this);
    result /= other;
    return result;
}
number number::operator-() const {
    number result(*this);
    result.negate();
    return result;
}

number& number::stripscaling(double slope, int exponent, double bias) {
    mBody->stripscaling(slope, exponent, bias);
    return *this;
}
number& number::stridesort(bool ascending, std::uint64_t stride, std::uint64_t length) {
    mBody->stridesort(ascending, stride, length);
    return *this;
}
number& number::stridesort2(double* index, bool ascending, std::uint64_t stride, std::uint64_t length) {
    mBody->stridesort2(index, ascending, stride, length);
    return *this;
}

void number::fixed2IntArray(std::uint32_t* out, int words, int wordlength, double slope, int exponent, double bias,
                            mpfr_srcptr twoToWordlength) const {
    mBody->fixed2IntArray(out, words, wordlength, slope, exponent, bias, twoToWordlength);
}
void number::fixed2sdec(char* out, unsigned length, unsigned wordlength, int fractionlength) const {
    mBody->fixed2sdec(out, length, wordlength, fractionlength);
}
void number::fixed2base(char* out, int length, int base, int wordlength, int fractionlength) const {
    mBody->fixed2base(out, length, base, wordlength, fractionlength);
}
void number::float2base(char* out, int length, int base, int wordlength, int exponentlength, int fractionlength,
                        int exponentmax, int exponentmin) const {
    mBody->float2base(out, length, base, wordlength, exponentlength, fractionlength, exponentmax, exponentmin);
}
number& number::base2fixed(const char* text, int base, int wordlength, int fractionlength, bool isSigned) {
    mBody->base2fixed(text, base, wordlength, fractionlength, isSigned);
    return *this;
}
number& number::base2float(const char* text, int base, int wordlength, int exponentlength, int fractionlength,
                           int exponentmax, int exponentmin) {
    mBody->base2float(text, base, wordlength, exponentlength, fractionlength, exponentmax, exponentmin);
    return *this;
}

number& number::bitcmp(bool isSigned, int wordlength, double slope, int exponent, double bias, mpz_srcptr mask,
                       mpfr_srcptr twoToWordlength) {
    mBody->bitcmp(isSigned, wordlength, slope, exponent, bias, mask, twoToWordlength);
    return *this;
}
number& number::bitcmp(bool isSigned, int wordlength, double slope, int exponent, double bias, std::uint64_t mask,
                       std::uint64_t twoToWordlength) {
    mBody->bitcmp(isSigned, wordlength, slope, exponent, bias, mask, twoToWordlength);
    return *this;
}
number& number::doublebitand(const number& other, bool isSigned, int wordlength, double slope, int exponent,
                             double bias, std::uint64_t twoToWordlength) {
    mBody->fibitand(*other.mBody, isSigned, wordlength, slope, exponent, bias, twoToWordlength);
    return *this;
}
number& number::mpbitand(const number& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         mpfr_srcptr twoToWordlength) {
    mBody->fibitand(*other.mBody, isSigned, wordlength, slope, exponent, bias, twoToWordlength);
    return *this;
}
number& number::doublebitor(const number& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                            std::uint64_t twoToWordlength) {
    mBody->fibitor(*other.mBody, isSigned, wordlength, slope, exponent, bias, twoToWordlength);
    return *this;
}
number& number::mpbitor(const number& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                        mpfr_srcptr twoToWordlength) {
    mBody->fibitor(*other.mBody, isSigned, wordlength, slope, exponent, bias, twoToWordlength);
    return *this;
}
number& number::doublebitxor(const number& other, bool isSigned, int wordlength, double slope, int exponent,
                             double bias, std::uint64_t twoToWordlength) {
    mBody->bitxor(*other.mBody, isSigned, wordlength, slope, exponent, bias, twoToWordlength);
    return *this;
}
number& number::mpbitxor(const number& other, bool isSigned, int wordlength, double slope, int exponent, double bias,
                         mpfr_srcptr twoToWordlength) {
    mBody->bitxor(*other.mBody, isSigned, wordlength, slope, exponent, bias, twoToWordlength);
    return *this;
}
unsigned char number::bitget(int bit, bool isSigned, int wordlength, double slope, int exponent, double bias,
                             mpfr_srcptr twoToWordlength) const {
    return mBody->bitget(bit, isSigned, wordlength, slope, exponent, bias, twoToWordlength);
}
unsigned char number::bitget(int bit, bool isSigned, int wordlength, double slope, int exponent, double bias,
                             std::uint64_t twoToWordlength) const {
    return mBody->bitget(bit, isSigned, wordlength, slope, exponent, bias, twoToWordlength);
}
number& number::bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent, double bias,
                       mpfr_srcptr twoToWordlength) {
    mBody->bitset(bit, value, isSigned, wordlength, slope, exponent, bias, twoToWordlength);
    return *this;
}
number& number::bitset(int bit, bool value, bool isSigned, int wordlength, double slope, int exponent, double bias,
                       std::uint64_t twoToWordlength) {
    mBody->bitset(bit, value, isSigned, wordlength, slope, exponent, bias, twoToWordlength);
    return *this;
}
