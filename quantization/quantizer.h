// Quantizes values to a number format: fixed-point, floating-point, boolean, or none, with overflows only counted.
//
// A description (mode, round mode, overflow mode, a format of two numbers) is translated to constants held as `number`s
// and one stored element function, so that quantizing a value tests no mode. Every setter derives everything again, so
// the constants always match the description, and references to them are valid until the next setter. Format: word
// length in bits, then the fraction length (weight of bit 0 is 2^-f) or, in mode "float", the exponent length. Format
// numbers are truncated to ints; NaN becomes 0 and values beyond int saturate. Quantizing is const, but it counts in
// the logger: a quantizer belongs to one thread. Read next: qlogger.h, quantization/README.md.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "descriptors/NumericType.h"
#include "descriptors/RealPoint.h"
#include "descriptors/embedded.h"
#include "host/export.h"
#include "logging/qlogger.h"
#include "numbers/number.h"
#include "quantization/fixed_limits.h"
#include "quantization/float_limits.h"

namespace tolvane::detail {
struct Tally;
}

class TOLVANE_API quantizer {
 public:
    using NumericType = EmbeddedTypeSystem::NumericType;
    using QuantizeFunction = number& (quantizer::*)(number&) const;

    // Errors of the description, from every function that checks it: "fixedpoint:quantizer:wordlengthtoobig" above
    // 65535 bits, "fixedpoint:quantizer:wordlengthtoosmall" below 1, and in mode "float"
    // "fixedpoint:quantizer:exponenttoobig" above 31, "fixedpoint:quantizer:exponenttoosmall" below 0 and
    // "fixedpoint:quantizer:exponentlargerthanwordlength" unless it is below the word length. A setter that raises has
    // changed nothing, except that a change to a mode that the format does not fit keeps the new mode together with the
    // old constants.

    quantizer(embedded::QuantizerModeEnum mode, embedded::RoundModeEnum round, embedded::OverflowModeEnum overflow,
              int wordlength, int fractionlength, const std::string& tag, embedded::OperationTypeEnum operation,
              bool alwaysLog);
    /// Takes mode and format from the type; errors as `set`.
    quantizer(const NumericType& type, embedded::RoundModeEnum round, embedded::OverflowModeEnum overflow,
              const std::string& tag, embedded::OperationTypeEnum operation, bool alwaysLog);
    /// Copies everything, including the log. Each constant is copied like a `number`, with its stored precision.
    quantizer(const quantizer& other);
    /// Copies, and then takes mode and format from the type.
    quantizer(const quantizer& other, const NumericType& type);
    /// As the copy constructor; the extremes of the log copy only values.
    quantizer& operator=(const quantizer& other);
    /// The logger writes itself to the log map if it was made to do so.
    virtual ~quantizer();

    // Setting.

    void setMode(embedded::QuantizerModeEnum mode);
    void setRoundMode(embedded::RoundModeEnum round);
    void setOverflowMode(embedded::OverflowModeEnum overflow);
    void setFormat(RealPoint format);
    /// In mode "float", a word length that is not above the exponent length raises
    /// "fixedpoint:quantizer:wordlengthlargerthanexponent".
    void setWordlength(int wordlength);
    /// Sets the second number of the format: in mode "float" the exponent length; in the others without checks.
    void setFractionlength(int fractionlength);
    /// Checks the exponent length in every mode.
    void setExponentlength(int exponentlength);
    /// Takes mode and format from a type (a quantizer has no slope adjustment factor or bias), and derives the
    /// constants again only if something differs or `force` is set. Raises "fixedpoint:quantizer:unspecifiedscaling".
    void set(const NumericType& type, embedded::RoundModeEnum round, embedded::OverflowModeEnum overflow, bool force);
    /// Takes the description of the other quantizer if it differs or `force` is set. Keeps the log.
    void set(const quantizer& other, bool force);
    /// Sets the type of the logger and takes mode and format from it.
    void setNumericType(const NumericType& type);

    void setQlogger(const qlogger& logger) { mLogger = logger; }
    void setTag(const char* tag) { mLogger.setTag(tag); }
    void setMax(const number& value) { mLogger.setMax(value); }
    void setMin(const number& value) { mLogger.setMin(value); }
    void setNoverflows(std::uint64_t count) { mLogger.setNoverflows(count); }
    void setNunderflows(std::uint64_t count) { mLogger.setNunderflows(count); }
    void setNoperations(std::uint64_t count) { mLogger.setNoperations(count); }

    // Reading. Constants are in real-world units of a format without slope and bias.

    embedded::QuantizerModeEnum getMode() const { return mMode; }
    embedded::RoundModeEnum getRoundMode() const { return mRoundMode; }
    embedded::OverflowModeEnum getOverflowMode() const { return mOverflowMode; }
    RealPoint getFormat() const { return mFormat; }
    int getWordlength() const { return mWordlength; }
    /// In the float modes the mantissa length without the hidden bit.
    int getFractionlength() const { return mFractionlength; }
    /// The precision of the constants in bits.
    unsigned getPrecision() const { return mPrecision; }
    int getExponentlength() const { return mExponentlength; }
    int getExponentmax() const { return mExponentmax; }
    int getExponentmin() const { return mExponentmin; }
    int getExponentbias() const { return mExponentmax; }
    const number& getRealmax() const { return constants().realmax; }
    const number& getUpperBound() const { return constants().realmax; }
    const number& getLowerBound() const { return constants().lowerbound; }
    const number& getPositiveEps() const { return constants().positiveEps; }
    const number& getNegativeEps() const { return constants().negativeEps; }
    /// The modulus of wrapping; 0 in the float modes.
    const number& getWrapAround() const { return constants().wraparound; }
    const number& getDenormalmin() const { return constants().denormalmin; }
    /// The smallest normal value, or one step in the fixed modes; negative for the one-bit signed word, whose only step
    /// is the one below zero. The same holds for `getEps`.
    const number& getRealmin() const;
    const number& getEps() const;
    number getDenormalmax() const;
    const qlogger& getQlogger() const { return mLogger; }
    qlogger& getQlogger() { return mLogger; }
    const NumericType& getNumericType() const { return mLogger.getNumericType(); }
    NumericType& getNumericType() { return mLogger.getNumericType(); }
    const std::string& getTag() const { return mLogger.getTag(); }
    std::string& getTag() { return mLogger.getTag(); }
    number& getMax() const { return mLogger.getMax(); }
    number& getMin() const { return mLogger.getMin(); }
    std::uint64_t getNoverflows() const { return mLogger.getNoverflows(); }
    std::uint64_t getNunderflows() const { return mLogger.getNunderflows(); }
    std::uint64_t getNoperations() const { return mLogger.getNoperations(); }
    static int getVersion() { return 2; }
    /// Returns "quantizer".
    static const char* getVelmarClassName();
    /// Returns "embedded.quantizer".
    static const char* getVelmarPackageClassName();

    bool isSignedFixed() const { return mMode == embedded::QuantizerModeEnum::Fixed; }
    bool isUnsignedFixed() const { return mMode == embedded::QuantizerModeEnum::Ufixed; }
    /// Fixed-point or scaled double.
    bool isScaledType() const;
    /// Compares the modes, the word length and the fraction length.
    bool isequal(const quantizer& other) const;
    /// The constants as doubles, for loops over whole arrays.
    const tolvane::detail::FixedDoubleLimits& getDoubleLimits() const { return mLimits; }
    /// Whether values are rounded to a fixed-point format of a usual grid and forced into its range. Of short words
    /// doubles must hold the bounds, which they are compared with.
    bool isFixedPoint() const {
        constexpr int kGreatest = tolvane::detail::WordGrid::kGreatestExponent;
        const bool isLong = mWordlength > static_cast<int>(doublenumber::kScalarPrecision);
        return mFunctionFits && (isLong || mLimits.valid) && (isSignedFixed() || isUnsignedFixed()) &&
               mFractionlength <= kGreatest && mFractionlength >= -kGreatest;
    }
    /// Whether the element function leaves all values unchanged and at most logs them.
    bool keepsValues() const;

    // Quantizing.

    /// Quantizes the element at the cursor in place, logs overflow, underflow and extremes, and returns x.
    number& quantize(number& x) const { return (this->*mQuantize)(x); }
    /// The stored element function, for loops.
    QuantizeFunction getQuantizeFunction() const { return mQuantize; }
    /// Quantizes every element in order, as `quantize` on each: the same values, counts and extremes. Keeps the cursor.
    number& quantizeArray(number& x) const;
    /// Sets all elements of an array of many bits, which has several, to doubles, and quantizes them, as `quantize` on
    /// each. Returns false and does nothing where that takes the steps of single elements.
    bool quantizeInto(std::span<const double> in, number& out) const;
    /// As quantizeArray, on doubles; `out` has the length of `in` and is the same memory or separate from it.
    void quantize(std::span<const double> in, std::span<double> out) const;
    /// Whether whole arrays of doubles are quantized by vector loops, which can tally.
    bool hasArrayLoops() const;
    /// As `quantize` on spans, but joins the statistics to a tally instead of logging them: for quantizers that have
    /// array loops. Null stands for a closed log.
    void quantizeAndTally(std::span<const double> in, std::span<double> out, tolvane::detail::Tally* tally) const;
    /// Whether arrays are quantized by the fixed-point rule on the double limits (quantization/fixed_rules.inl.h), so
    /// that another vector loop may do the same.
    bool hasFixedKernel() const;
    /// Bring a value that is out of range into the signed or the unsigned range, modulo the wraparound, and count an
    /// overflow. Other values are unchanged.
    number& wrap(number& x) const;
    number& uwrap(number& x) const;
    void updateminmax(const number& x) const { mLogger.updateminmax(x); }
    /// Resets the log.
    void initializestates() const { mLogger.reset(); }

    // Text forms of the stored integer or of the float word; `length` counts the characters of the field `out`.

    /// Writes signed decimal. Raises "fixedpoint:quantizer:sdec:fixedonly" in the other modes.
    void num2sdec(char* out, int length, const number& x) const;
    /// Writes digits of a base. Raises "fixedpoint:quantizer:num2base:notdefined" for scaled doubles.
    void num2base(char* out, int length, const number& x, int base) const;
    /// Reads the output of num2base. Raises "fixedpoint:quantizer:base2num:notdefined" for scaled doubles.
    number& base2num(const char* text, int base, number& x) const;
    /// Print the description through the host.
    void fidisp() const;
    void disp() const;

 private:
    struct Functions;

    // The constants as numbers, and their derivation from word length and fraction length in the fixed-point modes.
    struct Constants {
        Constants(unsigned precision, bool force);
        number realmax, lowerbound, realmin, positiveEps, negativeEps, wraparound, denormalmin;
    };
    enum class WordKind { Signed, OneBitSigned, Unsigned };

    void checkScaling(const NumericType& type) const;
    const Constants& constants() const {
        if (!mConstants) [[unlikely]] {
            makeConstants();
        }
        return *mConstants;
    }
    std::unique_ptr<Constants> wordConstants() const;
    void makeConstants() const;
    void updateparameters();
    void updatefixedparameters();
    void updateufixedparameters();
    void updatefloatparameters();
    void updatelimits();
    void updatewordlimits();
    void updatequantizer();
    /// The fraction length less an exponent, within int: a float function kept from before may see any fraction length.
    int lastBitBelow(int exponent) const;
    bool hasNegativeStepOnly() const { return isSignedFixed() && mWordlength == 1; }
    void printFormat() const;

    // The element functions. Names for each combination are in quantizer_functions.cpp.
    template <class Rule, class Overflow, class Word>
    number& quantizeFixed(number& x) const;
    template <class Rule>
    number& quantizeFloat(number& x) const;
    number& QuantizeDouble(number& x) const;
    number& QuantizeSingle(number& x) const;
    number& QuantizeNone(number& x) const;
    number& QuantizeBoolean(number& x) const;
    number& QuantizeScaledDouble(number& x) const;

    void updatefloatlimits();
    /// As quantizeArray, on words where integers give the same.
    bool quantizeWords(number& x) const;
    /// The element function on one value after the other.
    void quantizeByElements(std::span<const double> in, std::span<double> out) const;

    template <class Result>
    number& store(number& x, const Result& result) const;

    // Their steps on a number.
    bool outOfRange(const number& x) const { return x > constants().realmax || x < constants().lowerbound; }
    void checkunderflow(const number& x) const;
    void checkScaledDoubleUnderflow(const number& x) const;
    void checkoverflow(const number& x) const;
    void saturate(number& x) const;

    embedded::QuantizerModeEnum mMode;
    embedded::RoundModeEnum mRoundMode;
    embedded::OverflowModeEnum mOverflowMode;
    // Whether the function matches the description: the old one is kept if a mode is unknown or a derivation raised.
    bool mFunctionFits = false;
    RealPoint mFormat;
    int mWordlength = 0;
    int mFractionlength = 0;
    unsigned mPrecision = 0;
    WordKind mWordKind = WordKind::Signed;
    // Null until first requested, if doubles hold the format: for most quantizers in the life of an array they never
    // are.
    mutable std::unique_ptr<Constants> mConstants;
    QuantizeFunction mQuantize = &quantizer::QuantizeNone;
    int mExponentlength = 0;
    int mExponentmax = 0;
    int mExponentmin = 0;
    qlogger mLogger;
    tolvane::detail::FixedDoubleLimits mLimits;
    // Only of float formats whose values the rule on doubles rounds.
    std::unique_ptr<const tolvane::detail::FloatDoubleLimits> mFloatLimits;
};
