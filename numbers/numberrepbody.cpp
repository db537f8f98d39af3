#include "numbers/numberrepbody.h"

#include "numbers/numberops.h"

numberrepbody::~numberrepbody() = default;

void numberrepbody::setvalue(const numberrepbody& source) {
    numberops::setvalue(*this, source);
}
numberrepbody& numberrepbody::operator+=(const numberrepbody& other) {
    numberops::plusequals(*this, other);
    return *this;
}
numberrepbody& numberrepbody::operator-=(const numberrepbody& other) {
    numberops::minusequals(*this, other);
    return *this;
}
numberrepbody& numberrepbody::operator*=(const numberrepbody& other) {
    numberops::timesequals(*this, other);
    return *this;
}
numberrepbody& numberrepbody::operator/=(const numberrepbody& other) {
    numberops::divideequals(*this, other);
    return *this;
}
bool numberrepbody::operator<(const numberrepbody& other) const {
    return numberops::lessthan(*this, other);
}
bool numberrepbody::operator<=(const numberrepbody& other) const {
    return numberops::lessthanorequal(*this, other);
}
bool numberrepbody::operator>(const numberrepbody& other) const {
    return numberops::greaterthan(*this, other);
}
bool numberrepbody::operator>=(const numberrepbody& other) const {
    return numberops::greaterthanorequal(*this, other);
}
bool numberrepbody::operator==(const numberrepbody& other) const {
    return numberops::equal(*this, other);
}
bool numberrepbody::operator!=(const numberrepbody& other) const {
    return numberops::notequal(*this, other);
}
numberrepbody& numberrepbody::hypot(const numberrepbody& a, const numberrepbody& b) {
    numberops::hypot(*this, a, b);
    return *this;
}
numberrepbody& numberrepbody::mod(const numberrepbody& divisor) {
    numberops::mod(*this, divisor);
    return *this;
}

std::int8_t numberrepbody::fixed2int8(int unused, int scale) const {
    return numberops::fixed2int8(*this, unused, scale);
}
std::int16_t numberrepbody::fixed2int16(int unused, int scale) const {
    return numberops::fixed2int16(*this, unused, scale);
}
std::int32_t numberrepbody::fixed2int32(int unused, int scale) const {
    return numberops::fixed2int32(*this, unused, scale);
}
std::int64_t numberrepbody::fixed2int64(int unused, int scale) const {
    return numberops::fixed2int64(*this, unused, scale);
}
std::uint8_t numberrepbody::fixed2uint8(int unused, int scale) const {
    return numberops::fixed2uint8(*this, unused, scale);
}
std::uint16_t numberrepbody::fixed2uint16(int unused, int scale) const {
    return numberops::fixed2uint16(*this, unused, scale);
}
std::uint32_t numberrepbody::fixed2uint32(int unused, int scale) const {
    return numberops::fixed2uint32(*this, unused, scale);
}
std::uint64_t numberrepbody::fixed2uint64(int unused, int scale) const {
    return numberops::fixed2uint64(*this, unused, scale);
}

void numberrepbody::fixed2IntArray(std::uint32_t* out, int words, int wordlength, double slope, int exponent,
                                   double bias, mpfr_srcptr twoToWordlength) const {
    numberops::fixed2IntArray(*this, out, words, wordlength, slope, exponent, bias, twoToWordlength);
}
void numberrepbody::fixed2sdec(char* out, unsigned length, unsigned wordlength, int fractionlength) const {
    numberops::fixed2sdec(*this, out, length, wordlength, fractionlength);
}
void numberrepbody::fixed2base(char* out, int length, int base, int wordlength, int fractionlength) const {
    numberops::fixed2base(*this, out, length, base, wordlength, fractionlength);
}
void numberrepbody::float2base(char* out, int length, int base, int wordlength, int exponentlength, int fractionlength,
                               int exponentmax, int exponentmin) const {
    numberops::float2base(*this, out, length, base, wordlength, exponentlength, fractionlength, exponentmax,
                          exponentmin);
}
void numberrepbody::base2fixed(const char* text, int base, int wordlength, int fractionlength, bool isSigned) {
    numberops::base2fixed(*this, text, base, wordlength, fractionlength, isSigned);
}
void numberrepbody::base2float(const char* text, int base, int wordlength, int exponentlength, int fractionlength,
                               int exponentmax, int exponentmin) {
    numberops::base2float(*this, text, base, wordlength, exponentlength, fractionlength, exponentmax, exponentmin);
}
