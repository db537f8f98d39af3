// The conversions of bodies of either kind: a double body is converted through a multi-precision temporary, so that
// texts and word arrays of any length have one implementation.
#include <algorithm>
#include <cstdint>

#include "numbers/mpnumber.h"
#include "numbers/numberops.h"

namespace {

/// Makes the temporary of a double body, at the precision of its word. Word lengths end at 65535, beyond which more
/// precision would only cost memory; a negative one gets the smallest.
template <class WordLength>
mpnumber temporaryOf(const numberrepbody& body, WordLength wordlength) {
    constexpr WordLength kWidestWord = 65535;
    const auto precision = static_cast<std::uint32_t>(std::clamp(wordlength, WordLength{0}, kWidestWord));
    return mpnumber(body.todouble(), precision);
}

/// Calls the conversion on the body itself or on its temporary.
template <class WordLength, class Conversion>
void read(const numberrepbody& body, WordLength wordlength, Conversion convert) {
    if (const mpnumber* wide = body.asMp()) {
        convert(*wide);
    } else {
        convert(temporaryOf(body, wordlength));
    }
}

/// As `read`, and stores the temporary's new value in the body.
template <class Conversion>
void write(numberrepbody& body, int wordlength, Conversion convert) {
    if (mpnumber* wide = body.asMp()) {
        convert(*wide);
    } else {
        mpnumber temporary = temporaryOf(body, wordlength);
        convert(temporary);
        body.setvalue(temporary.todouble());
    }
}

}  // namespace

void numberops::fixed2IntArray(const numberrepbody& body, std::uint32_t* out, int words, int wordlength, double slope,
                               int exponent, double bias, mpfr_srcptr twoToWordlength) {
    read(body, wordlength,
         [&](const mpnumber& x) { x.fixed2IntArray(out, words, wordlength, slope, exponent, bias, twoToWordlength); });
}

void numberops::fixed2sdec(const numberrepbody& body, char* out, unsigned length, unsigned wordlength,
                           int fractionlength) {
    read(body, wordlength, [&](const mpnumber& x) { x.fixed2sdec(out, length, wordlength, fractionlength); });
}

void numberops::fixed2base(const numberrepbody& body, char* out, int length, int base, int wordlength,
                           int fractionlength) {
    read(body, wordlength, [&](const mpnumber& x) { x.fixed2base(out, length, base, wordlength, fractionlength); });
}

void numberops::float2base(const numberrepbody& body, char* out, int length, int base, int wordlength,
                           int exponentlength, int fractionlength, int exponentmax, int exponentmin) {
    read(body, wordlength, [&](const mpnumber& x) {
        x.float2base(out, length, base, wordlength, exponentlength, fractionlength, exponentmax, exponentmin);
    });
}

void numberops::base2fixed(numberrepbody& body, const char* text, int base, int wordlength, int fractionlength,
                           bool isSigned) {
    write(body, wordlength, [&](mpnumber& x) { x.base2fixed(text, base, wordlength, fractionlength, isSigned); });
}

void numberops::base2float(numberrepbody& body, const char* text, int base, int wordlength, int exponentlength,
                           int fractionlength, int exponentmax, int exponentmin) {
    write(body, wordlength, [&](mpnumber& x) {
        x.base2float(text, base, wordlength, exponentlength, fractionlength, exponentmax, exponentmin);
    });
}
