// The rules of arithmetic of an array: rounding, overflow, and how the types of product and sum registers are derived.
//
// A plain value that holds no numbers and computes nothing; sums and products read it. The properties are independent:
// no setter changes another property, except `setCStyle` and the two format setters, and none compares a word length
// with its maximum. Fixed exponents are stored; a fraction length is the negated exponent, where the negative of the
// lowest int is the highest. Word lengths are in bits.
//
// A session has one global object, copied by every new `fimath()`, and a dictionary of objects by tag; see "The global
// object" and "The dictionary". Setters that raise leave the object unchanged.
#pragma once

#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "descriptors/RealPoint.h"
#include "descriptors/embedded.h"
#include "host/export.h"

class EnumStringType;
class OMInterface;
struct hvArray;

class TOLVANE_API fimath {
 public:
    using RoundModeEnum = embedded::RoundModeEnum;
    using OverflowModeEnum = embedded::OverflowModeEnum;
    enum class PrecisionModeEnum : std::int32_t { Arbitrary = 0, Stepped = 1 };
    enum class ArithmeticModeEnum : std::int32_t { FullPrecision = 0, KeepLSB = 1, KeepMSB = 2, SpecifyPrecision = 3 };

    // Construction.

    /// Copies the global object. If there is none, takes the factory values (nearest, saturate, FullPrecision, word
    /// lengths 32 of at most 128, fraction lengths 30, CastBeforeSum) and makes a copy of itself global.
    fimath();
    /// As `fimath()` with these two modes, except that it never makes a global object.
    fimath(RoundModeEnum roundMode, OverflowModeEnum overflowMode);
    /// Stores the values without checks; slope adjustment factors are 1, biases 0.
    fimath(RoundModeEnum roundMode, OverflowModeEnum overflowMode, PrecisionModeEnum precisionMode,
           ArithmeticModeEnum productMode, int productWordLength, int maxProductWordLength, int productFractionLength,
           ArithmeticModeEnum sumMode, int sumWordLength, int maxSumWordLength, int sumFractionLength,
           bool castBeforeSum);
    fimath(const fimath& other) = default;
    /// Copies the object inside a host value; errors as `convertFromVelmarArray`.
    explicit fimath(const hvArray* value);
    virtual ~fimath();

    fimath& operator=(const fimath& other) = default;
    void set(const fimath& other) { *this = other; }
    /// As the constructor with twelve arguments.
    void set(RoundModeEnum roundMode, OverflowModeEnum overflowMode, PrecisionModeEnum precisionMode,
             ArithmeticModeEnum productMode, int productWordLength, int maxProductWordLength, int productFractionLength,
             ArithmeticModeEnum sumMode, int sumWordLength, int maxSumWordLength, int sumFractionLength,
             bool castBeforeSum);

    // Queries.

    RoundModeEnum getRoundMode() const { return mRoundMode; }
    OverflowModeEnum getOverflowMode() const { return mOverflowMode; }
    PrecisionModeEnum getPrecisionMode() const { return mPrecisionMode; }
    bool getCastBeforeSum() const { return mCastBeforeSum; }

    ArithmeticModeEnum getProductMode() const { return mProduct.mode; }
    int getProductWordLength() const { return mProduct.wordLength; }
    int getMaxProductWordLength() const { return mProduct.maxWordLength; }
    int getProductFixedExponent() const { return mProduct.fixedExponent; }
    int getProductFractionLength() const { return mProduct.fractionLength(); }
    double getProductSlopeAdjustmentFactor() const { return mProduct.slopeAdjustmentFactor; }
    double getProductBias() const { return mProduct.bias; }
    /// Returns the factor times 2 to the exponent, which may overflow to infinity or underflow to 0.
    double getProductSlope() const { return mProduct.slope(); }
    /// Returns whether the factor is not 1 or the bias not 0.
    bool isProductSlopeBiasScaled() const { return mProduct.isSlopeBiasScaled(); }
    /// Returns word length and fraction length.
    RealPoint getProductFormat() const { return mProduct.format(); }

    ArithmeticModeEnum getSumMode() const { return mSum.mode; }
    int getSumWordLength() const { return mSum.wordLength; }
    int getMaxSumWordLength() const { return mSum.maxWordLength; }
    int getSumFixedExponent() const { return mSum.fixedExponent; }
    int getSumFractionLength() const { return mSum.fractionLength(); }
    double getSumSlopeAdjustmentFactor() const { return mSum.slopeAdjustmentFactor; }
    double getSumBias() const { return mSum.bias; }
    double getSumSlope() const { return mSum.slope(); }
    bool isSumSlopeBiasScaled() const { return mSum.isSlopeBiasScaled(); }
    RealPoint getSumFormat() const { return mSum.format(); }

    /// Compares the settings in force: modes and CastBeforeSum; for each register, under KeepLSB and KeepMSB word
    /// length, maximum and fraction length, under SpecifyPrecision only the fraction length. PrecisionMode, factors and
    /// biases are ignored.
    bool isequal(const fimath& other) const;
    /// Compares modes, CastBeforeSum, word lengths, maxima and fraction lengths, whatever the modes.
    bool ispropequal(const fimath& other) const;

    // Setters.

    void setRoundMode(RoundModeEnum roundMode) { mRoundMode = roundMode; }
    void setOverflowMode(OverflowModeEnum overflowMode) { mOverflowMode = overflowMode; }
    void setPrecisionMode(PrecisionModeEnum precisionMode) { mPrecisionMode = precisionMode; }
    void setCastBeforeSum(bool castBeforeSum) { mCastBeforeSum = castBeforeSum; }

    void setProductMode(ArithmeticModeEnum mode) { mProduct.mode = mode; }
    /// Accepts 1 to 65535; raises "fixedpoint:fimath:NonPositive<property>" and "fixedpoint:fimath:TooBig<property>",
    /// as the three other setters of word lengths do.
    void setProductWordLength(int wordLength);
    void setMaxProductWordLength(int wordLength);
    void setProductFixedExponent(int fixedExponent) { mProduct.fixedExponent = fixedExponent; }
    void setProductFractionLength(int fractionLength) { mProduct.setFractionLength(fractionLength); }
    /// Refuses, with the warning "TolvaneKit:fimathInvalidSetting", a factor outside [1, 2), and keeps the old one;
    /// returns whether the factor was accepted.
    bool setProductSlopeAdjustmentFactor(double factor);
    void setProductBias(double bias) { mProduct.bias = bias; }
    /// Splits a total slope into factor and exponent; raises "TolvaneKit:fimathInvalidSetting" unless it is above 0 and
    /// finite.
    void setProductSlope(double slope);
    /// Truncates both lengths to int, where NaN gives 0 and values beyond int saturate, and sets them; errors as
    /// setProductWordLength.
    void setProductFormat(RealPoint format);

    void setSumMode(ArithmeticModeEnum mode) { mSum.mode = mode; }
    void setSumWordLength(int wordLength);
    void setMaxSumWordLength(int wordLength);
    void setSumFixedExponent(int fixedExponent) { mSum.fixedExponent = fixedExponent; }
    void setSumFractionLength(int fractionLength) { mSum.setFractionLength(fractionLength); }
    bool setSumSlopeAdjustmentFactor(double factor);
    void setSumBias(double bias) { mSum.bias = bias; }
    void setSumSlope(double slope);
    void setSumFormat(RealPoint format);

    // The rules of C integers: floor, wrap, and registers that keep the low-order bits of one word length.

    /// Sets both word lengths, floor, wrap, KeepLSB for both registers, and CastBeforeSum; errors as
    /// setProductWordLength.
    void setCStyle(int wordLength);
    /// As setCStyle with the truncated value of a numeric or logical scalar, where 1 (a logical true) and an empty
    /// array mean 32 bits and 0 changes nothing; so one bit cannot be requested. Returns whether there was a value to
    /// set. Raises "fixedpoint:fimath:cstyle:badvalue" for anything else, NaN included.
    bool setCStyle(const hvArray* value);
    /// Returns whether the rules are those of `setCStyle` for some word length; the maxima and scalings are free.
    bool isCStyle() const;
    /// As isCStyle, as a host double 1 or 0; the caller owns it.
    hvArray* getCStyle() const;

    // Text forms.

    /// Each returns a text that the caller frees with bsFree; a mode outside its enumeration gives an empty one.
    char* getRoundModeString() const;
    char* getOverflowModeString() const;
    char* getProductModeString() const;
    char* getSumModeString() const;
    char* getProductWordLengthString() const;
    char* getSumWordLengthString() const;
    char* getMaxProductWordLengthString() const;
    char* getMaxSumWordLengthString() const;
    char* getProductFixedExponentString() const;
    char* getSumFixedExponentString() const;
    char* getProductFractionLengthString() const;
    char* getSumFractionLengthString() const;
    /// Returns "0" or "1".
    char* getCastBeforeSumString() const;
    /// Return five significant digits, as the strings of the biases do.
    char* getProductSlopeAdjustmentFactorString() const;
    char* getSumSlopeAdjustmentFactorString() const;
    char* getProductBiasString() const;
    char* getSumBiasString() const;
    /// Return "2^n" for the factor 1, otherwise the total slope in 17 digits.
    char* getProductSlopeString() const;
    char* getSumSlopeString() const;

    /// Returns the modes, lengths and CastBeforeSum in eleven lines; PrecisionMode, factors and biases are not in it.
    /// The caller frees it with bsFree.
    char* convertToString() const;
    /// Makes an object from a text of `convertToString`; properties that are not in the text are Arbitrary, 1 and 0.
    /// The last line needs no line end, further lines are ignored, and numbers are parsed as far as possible and
    /// saturate at the bounds of int. Raises "fixedpoint:fimath:string2Fimath" for an unknown mode and for missing
    /// lines.
    static std::unique_ptr<fimath> string2Fimath(const char* text);
    /// Returns the host expression that makes such an object.
    std::string toString() const;
    /// Prints the properties in force through the host.
    void disp() const;

    // Host forms.

    /// Return the host types of the enumerations, made and registered on first use and owned by the host.
    static EnumStringType* getPrecisionModeEnum();
    static EnumStringType* getArithmeticModeEnum();

    /// Returns "fimath".
    static const char* getVelmarClassName();
    /// Returns "embedded.fimath".
    static const char* getVelmarPackageClassName();
    /// Returns the object that a host handle, given as OMInterface, owns.
    static fimath* getObjFromPrhs(void* handle);
    /// Returns the object inside a host value of class "embedded.fimath", which must outlive its use; raises
    /// "fixedpoint:fimath:mustBeFimath" for any other value.
    static fimath& convertFromVelmarArray(const hvArray* value);
    /// Puts the object into a new handle of its class, and the handle into a new host value. The caller owns the value,
    /// which holds the only reference to the handle, an internal one. Raises "fixedpoint:fimath:notRegistered" before
    /// the class is in the package.
    static hvArray* convertToInternalVelmarArray(std::unique_ptr<fimath> object);
    /// As above, with an external reference, as values of the user's workspace have.
    static hvArray* convertToExternalVelmarArray(std::unique_ptr<fimath> object);

    /// Send the new value of the named property to the listeners of a host handle; a class without the property has
    /// none. The text form sends the text.
    static void fimathNotifyFixedPropEvent(OMInterface* interface, int value, const char* property);
    static void fimathNotifyFixedPropEvent(OMInterface* interface, double value, const char* property);
    static void fimathNotifyFixedPropsStringPropEvent(OMInterface* interface, const char* text, const char* property);

    // The global object. A host handle of class "globalfimath" wraps the object itself and not a copy; while such
    // handles are counted, the object keeps its address and changes in place.

    /// Returns the object, made from the factory values if there is none. A change while no handle is counted
    /// invalidates the reference.
    static fimath& getGlobalFimath();
    /// Copies the source over the object while handles are counted; otherwise replaces the object by a new copy. The
    /// source may be the object itself.
    static void setGlobalFimath(const fimath& source);
    /// Frees the object, so the next use makes a new one; while handles are counted, restores the factory values. Does
    /// nothing if there is none.
    static void resetGlobalFimath();
    /// Restores the factory values of the object, if there is one, in place.
    static void resetGlobalFimathToFactory();
    static void incGlobalFimathRefCount() { ++sGlobalFimathReferenceCount; }
    /// Saturates at 0.
    static void decGlobalFimathRefCount();
    static std::uint32_t getGlobalFimathRefCount() { return sGlobalFimathReferenceCount; }

    // The dictionary. It owns copies of the objects, which live until they are erased or the process ends.

    using FimathMap = std::map<std::string, fimath>;
    static const FimathMap* getFimathMap();
    static bool fimathMapKeyExists(const std::string& tag);
    /// Raises "fixedpoint:fimath:FimathKeyExists" for a tag that is in use.
    static void addToFimathMap(const std::string& tag, const fimath& source);
    /// Raises "fixedpoint:fimath:InvalidFimathKey" for an unknown tag, as eraseFromFimathMap does.
    static void replaceInFimathMap(const std::string& tag, const fimath& source);
    /// Returns the object of a tag; an unknown one raises "VELMAR:class:MustBeHandle".
    static fimath& getFromFimathMap(const std::string& tag);
    static void eraseFromFimathMap(const std::string& tag);

 private:
    /// The properties that determine the type of the product register or of the sum register.
    struct RegisterRules {
        ArithmeticModeEnum mode = ArithmeticModeEnum::FullPrecision;
        std::int32_t wordLength = 32;
        std::int32_t maxWordLength = 128;
        std::int32_t fixedExponent = -30;
        double slopeAdjustmentFactor = 1.0;
        double bias = 0.0;

        int fractionLength() const;
        void setFractionLength(int fractionLength);
        double slope() const { return std::ldexp(slopeAdjustmentFactor, fixedExponent); }
        bool isSlopeBiasScaled() const { return slopeAdjustmentFactor != 1.0 || bias != 0.0; }
        RealPoint format() const { return {static_cast<double>(wordLength), static_cast<double>(fractionLength())}; }
        bool hasSameLengths(const RegisterRules& other) const;
        bool isInForceAs(const RegisterRules& other) const;
    };
    struct Factory {};

    explicit fimath(Factory /*values*/) {}
    static void setSlope(RegisterRules& rules, double slope);
    static bool setSlopeAdjustmentFactor(RegisterRules& rules, double factor);
    static void setFormat(RegisterRules& rules, RealPoint format, const char* property);
    static std::string registerExpression(const RegisterRules& rules, const std::string& name, const char* separator);
    static void printRegister(const RegisterRules& rules, const std::string& name);
    bool hasSameModes(const fimath& other) const;

    static std::unique_ptr<fimath> sGlobalFimath;
    static std::uint32_t sGlobalFimathReferenceCount;
    static FimathMap sFimathMap;

    RoundModeEnum mRoundMode = RoundModeEnum::Nearest;
    OverflowModeEnum mOverflowMode = OverflowModeEnum::Saturate;
    PrecisionModeEnum mPrecisionMode = PrecisionModeEnum::Arbitrary;
    RegisterRules mProduct;
    RegisterRules mSum;
    bool mCastBeforeSum = true;
};
