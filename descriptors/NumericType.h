// The descriptor of one numeric data type: how a stored integer of a given word length maps to a real-world value.
//
// real-world value = SlopeAdjustmentFactor * 2^FixedExponent * stored integer + Bias
//
// The fixed exponent is stored, the fraction length is its negative. DataTypeMode combines DataType and Scaling; the
// setters keep the three consistent and keep the fields that a mode does not use at neutral values. A setter reacts to
// a bad value in one of two ways, and callers rely on which: a refusal warns with
// "TolvaneKit:numerictype:InvalidSetting" and leaves the object as it is; an exception has the same id unless its
// contract names another. Writers without checks are listed under "Unchecked writers". A plain value;
// descriptors/README.md lists the sources.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "descriptors/fxpDataTypeProp.h"
#include "host/export.h"
#include "typesystem/ScalarType.h"

class EnumStringType;
class OMInterface;
class quantizer;
struct hvArray;

namespace EmbeddedTypeSystem {

class TOLVANE_API NumericType : public ScalarType {
 public:
    using DataTypeEnum = fxpModeDataType;
    using Signedness = fxpSignedness;
    enum class ScalingEnum : std::int32_t { BinaryPoint = 0, SlopeBias = 1, Unspecified = 2, Unused = 3 };
    /// The combination of DataType and Scaling. No mode has the value 6.
    enum class DataTypeModeEnum : std::int32_t {
        Boolean = 0,
        Single = 1,
        Double = 2,
        FixedUnspecified = 3,
        FixedBinaryPoint = 4,
        FixedSlopeBias = 5,
        ScaledDoubleUnspecified = 7,
        ScaledDoubleBinaryPoint = 8,
        ScaledDoubleSlopeBias = 9
    };

    // Construction. The data type override starts as Inherit.

    /// Makes the default type: fixed-point with binary point, signed, 16 bits, fraction length 15.
    NumericType();
    /// Stores the values as a fixed-point type and then applies the mode by `setDataTypeMode(mode, true)`, which resets
    /// the fields that the mode does not use: factor and bias in the binary point modes, and the exponent as well in
    /// the unspecified ones.
    NumericType(DataTypeModeEnum mode, bool isSigned, int wordLength, double slopeAdjustmentFactor, int fixedExponent,
                double bias);
    /// Makes a fixed-point type with binary point, without checks.
    NumericType(bool isSigned, int wordLength, int fractionLength);
    /// Stores the values and then applies `setDataType(dataType)`.
    NumericType(DataTypeEnum dataType, ScalingEnum scaling, bool isSigned, int wordLength, double slopeAdjustmentFactor,
                int fixedExponent, double bias);
    NumericType(DataTypeEnum dataType, ScalingEnum scaling, Signedness signedness, int wordLength,
                double slopeAdjustmentFactor, int fixedExponent, double bias);
    /// Describes the values that leave a quantizer: "double" and "none" give double, "float" and "single" give single,
    /// "boolean" boolean, the fixed and scaled double modes a binary point type. A word length out of range warns as in
    /// setWordLength. Raises "numerictype:constructor:unhandledcase" for any other mode.
    explicit NumericType(const quantizer* source);
    NumericType(const NumericType& other) = default;
    /// Copies the same as the copy constructor; see `set` for only the numeric fields.
    NumericType& operator=(const NumericType& other) = default;
    ~NumericType() override;

    // Operations of the type tree.

    /// Returns whether the other is a NumericType with the same qualifiers, to which this one is equivalent.
    bool operator==(const Type& other) const override;
    bool operator==(const NumericType& other) const;
    void accept(EmbeddedTypeVisitor* visitor) override;
    bool canBeConvertedTo(const Type* other) const override;
    OMClass* getOMClass() const override;
    void addCheckSum(MD5CheckSumModEndian& sum) const override;
    /// Applies the mode and resets the fields it does not use. With `resetsFromFloat` true, a change from double,
    /// single or boolean to a fixed-point or scaled double mode also resets to signed, 16 bits, exponent 0, factor 1,
    /// bias 0. Raises "fixedpoint:numerictype:setDataTypeMode:invalid" for a value that is no mode.
    virtual void setDataTypeMode(DataTypeModeEnum mode, bool resetsFromFloat);
    virtual bool isAlias() const;
    virtual const char* getIsAliasString() const;

    // Queries.

    DataTypeModeEnum getDataTypeMode() const { return mDataTypeMode; }
    DataTypeEnum getDataType() const { return mProp.DataType; }
    ScalingEnum getScaling() const { return mScaling; }
    Signedness getSignedness() const { return mProp.Signedness; }
    int getWordLength() const { return mProp.WordLength; }
    int getFixedExponent() const { return mProp.FixedExponent; }
    double getSlopeAdjustmentFactor() const { return mProp.SlopeAdjustmentFactor; }
    double getBias() const { return mProp.Bias; }
    fxpDataTypeDTOMode getDataTypeOverride() const { return mProp.DataTypeOverride; }
    /// Returns the negative of the fixed exponent; the lowest int, which has no negative, gives the highest.
    int getFractionLength() const;
    /// Returns the factor times 2 to the fixed exponent, which may overflow to infinity or underflow to 0.
    double getSlope() const;

    bool isFixed() const { return mProp.DataType == DataTypeEnum::Fixed; }
    bool isScaledDouble() const { return mProp.DataType == DataTypeEnum::ScaledDouble; }
    bool isDouble() const { return mProp.DataType == DataTypeEnum::Double; }
    bool isSingle() const { return mProp.DataType == DataTypeEnum::Single; }
    bool isBoolean() const { return mProp.DataType == DataTypeEnum::Boolean; }
    bool isFloat() const { return isDouble() || isSingle(); }
    bool isScaledType() const { return isFixed() || isScaledDouble(); }
    bool isSigned() const { return mProp.Signedness == Signedness::Signed; }
    bool getSigned() const { return isSigned(); }
    bool isUnsigned() const { return mProp.Signedness == Signedness::Unsigned; }
    bool isUnspecifiedSign() const { return mProp.Signedness == Signedness::Auto; }
    bool isUnspecifiedScaling() const { return mScaling == ScalingEnum::Unspecified; }
    bool isBinaryPointScalingSet() const { return isScaledType() && mScaling == ScalingEnum::BinaryPoint; }
    bool isSlopeBiasScalingSet() const { return isScaledType() && mScaling == ScalingEnum::SlopeBias; }
    /// Decides by the values, not the mode: a scaled type whose factor is not 1 or whose bias is not 0.
    bool isSlopeBiasScaled() const { return isScaledType() && !mProp.isUnitSlopeAdjustmentFactorZeroBias(); }

    /// Returns value * factor + bias.
    double addSlopeAdjustmentFactorBias(double value) const { return value * mProp.SlopeAdjustmentFactor + mProp.Bias; }

    /// Compares every numeric field, including the mode and the override.
    bool isequal(const NumericType& other) const;
    /// Compares the fields that determine the values of the type. If this object has unspecified scaling, so must the
    /// other; the reverse isn't required, so the relation is not symmetric. A NaN factor or bias is equivalent to
    /// nothing.
    bool isequivalent(const NumericType& other) const;

    const fxpDataTypeProp& getFxpDataTypeProp() const { return mProp; }
    fxpDataTypeProp& getFxpDataTypeProp() { return mProp; }
    operator const fxpDataTypeProp&() const { return mProp; }
    operator fxpDataTypeProp&() { return mProp; }

    /// Returns "numerictype".
    static const char* getVelmarClassName();
    /// Returns "embedded.numerictype".
    static const char* getVelmarPackageClassName();
    /// Returns the name of the host's built-in class that holds exactly this type, or null if there is none.
    const char* getEquivalentVelmarClassName() const;

    /// Returns the data type of a mode. Raises
    /// "fixedpoint:numericytpe:convertDataTypeModeToDataType:unknowndatatypemode" for a value that is no mode.
    static DataTypeEnum convertDataTypeModeToDataType(DataTypeModeEnum mode);
    /// Returns the mode that combines the two; a data type outside the enum gives the mode of double.
    static DataTypeModeEnum convertToDataTypeMode(DataTypeEnum dataType, ScalingEnum scaling);

    // Setters, guarded by the mode.

    /// Accepts 1 to 65535 bits for a scaled type, and the fixed width of the mode for the others; otherwise refuses.
    void setWordLength(int wordLength);
    /// Refuses Signed for boolean and Unsigned for double and single.
    void setSignedness(Signedness signedness);
    void setSigned(bool isSigned);
    /// As setSignedness, except that Auto raises "fixedpoint:NUMERICTYPE:signed:InvalidValue".
    void setSpecifiedSign(Signedness signedness);
    /// As setSignedness with the sign read from a logical or numeric 0 or 1; raises
    /// "fixedpoint:<name>:signed:InvalidValue" for anything else.
    void setSpecifiedSign(const hvArray* value, const char* name);
    /// As setSignedness with the sign read by getSignednessBoolFromHvArray.
    void setSignednessBool(const hvArray* value, const char* name);
    /// Refuses anything but 0 where the mode has no exponent. The lowest int gives the highest fixed exponent.
    void setFractionLength(int fractionLength);
    /// As setFractionLength, for its negative.
    void setFixedExponent(int fixedExponent);
    /// Splits a total slope into factor and exponent. Raises for a slope that is not above 0 and finite, and in the
    /// binary point modes for one that isn't a power of two. Refuses anything but 1 where the mode has no slope.
    void setSlope(double slope);
    /// Stores a factor in [1, 2) in the slope-bias modes and raises outside it; raises for anything but 1 in the other
    /// scaled modes, except that fixed-point with unspecified scaling refuses, as double, single and boolean do.
    void setSlopeAdjustmentFactor(double slopeAdjustmentFactor);
    /// Stores the bias in the slope-bias modes. Anything but 0 raises in the other scaled modes and is refused
    /// elsewhere.
    void setBias(double bias);
    void setScaling(ScalingEnum scaling);
    /// Keeps the scaling and changes the mode accordingly. Raises "fixedpoint:numerictype:setDataType:invalid".
    void setDataType(DataTypeEnum dataType);
    void setDataTypeOverride(fxpDataTypeDTOMode dataTypeOverride) { mProp.DataTypeOverride = dataTypeOverride; }
    /// Copies the numeric fields; keeps texts and qualifiers of the type.
    void set(const NumericType& other);

    // Unchecked writers, for code that derives result types.

    void setIsSigned(bool isSigned);
    /// Keeps a scaled data type and changes any other to fixed-point; derives the scaling from factor and bias.
    void setFixedPointProps(bool isSigned, int wordLength, double slopeAdjustmentFactor, int fixedExponent,
                            double bias);
    /// As above; Auto becomes Signed.
    void setFixedPointProps(Signedness signedness, int wordLength, double slopeAdjustmentFactor, int fixedExponent,
                            double bias);
    /// Stores all values and derives the mode.
    void setDataTypeProps(DataTypeEnum dataType, ScalingEnum scaling, Signedness signedness, int wordLength,
                          double slopeAdjustmentFactor, int fixedExponent, double bias);

    // Scaling arithmetic.

    /// Returns the factor in [1, 2) of a total slope and stores its power of two. For a slope that isn't positive and
    /// finite, raises the caller's error and leaves the exponent unchanged.
    static double computeFixedPropsFromSlope(double slope, int& exponent, const char* id, const char* message);
    /// Sets the exponent so that the value, rounded to the word, just fits; scaled types only. Unspecified scaling
    /// becomes binary point. NaN and infinity are treated as numbers in [0.5, 1). Raises
    /// "fixedpoint:fi:setBestPrecision:unspecifiedSign".
    void fxpBestPrecisionExponent(double value);
    /// Sets the exponent so that all values up to this magnitude fit; errors as fxpBestPrecisionExponent.
    void setBestPrecisionFromMaxAbs(double maxAbs);
    /// Makes this scaled type fit the data of a numeric host array: the exponent for floating-point data, sign, word
    /// length and exponent for integers. Auto becomes Signed. Raises "fixedpoint:fi:nonan" and
    /// "fixedpoint:fi:setBestPrecision:mustbenumeric"; sign and scaling are already set by then.
    void setBestPrecision(const hvArray* data);
    /// Finds a binary point type that holds slope and bias of this type exactly, trying the word lengths of the list in
    /// order, or 1 to `count` with a null list. Candidates are tried as signed words, so the upper half of the range of
    /// an unsigned type is out of reach. If none fits, the last candidate is used. Word lengths out of range warn as in
    /// setWordLength and keep the previous one; without candidates, word length and exponent are unchanged. Raises
    /// "fixedpoint:fi:setBestPrecision:unspecifiedSign".
    NumericType convertSlopeBiasToBinaryPoint(int count, const int* wordLengths) const;
    /// Returns the range of the type in real-world values. Raises "fixedpoint:quantizer:unspecifiedscaling".
    void getLowerUpperBoundsAsDouble(double& lower, double& upper) const;
    /// Divides host double arrays element by element in double precision; a scalar is combined with every element. The
    /// caller owns the result. Raises "fixedpoint:fi:divide:nonondouble" and "fixedpoint:fi:dimagree".
    static hvArray* divide(const hvArray* a, const hvArray* b);
    /// Returns the type inside a host value of class "embedded.numerictype", which keeps it alive and must outlive its
    /// use. Raises "fixedpoint:numerictype:notnumerictype".
    static NumericType& convertFromVelmarArray(const hvArray* value);
    /// Return a new host value of the class around the type. It holds the only reference to the handle: an internal
    /// one, or an external one, as values of the user's workspace do. Raise "fixedpoint:numerictype:notRegistered".
    static hvArray* convertToInternalVelmarArray(std::unique_ptr<NumericType> type);
    static hvArray* convertToExternalVelmarArray(std::unique_ptr<NumericType> type);

    // Checks of values for a type.

    /// Raises for NaN and infinity if the type can't hold them: "fixedpoint:nofixednan", "fixedpoint:nofixedinf",
    /// "fixedpoint:nologicalnan".
    static void checkNaNInf(DataTypeEnum dataType, double value);
    static void checkNaNInf(DataTypeEnum dataType, const double* values, std::uint64_t count);
    static void checkNaNInf(DataTypeEnum dataType, const float* values, std::uint64_t count);
    /// Raises "fixedpoint:nologicalcomplex" for complex booleans.
    static void errorIfComplexLogical(DataTypeEnum dataType, bool isComplex);
    static void errorIfBadValue(DataTypeEnum dataType, double re, double im, bool isComplex);
    static void errorIfBadValue(DataTypeEnum dataType, double value);
    /// Raises "fixedpoint:NUMERICTYPE:signed:InvalidValue" for Auto.
    static void errorIfUnspecifiedSign(Signedness signedness);
    /// Raises "fixedpoint:<name>:signed:InvalidValue".
    [[noreturn]] static void throwSignedUnsignedException(const char* name);
    /// Raises "fixedpoint:<name>:SignednessBool:InvalidValue".
    [[noreturn]] static void throwSignednessBoolException(const char* name);

    // Text forms. A buffer holds 22 bytes for word and fraction length, 25 for the slope, 31 for the bias.

    void getWordLengthString(char* buffer) const { GetWordLengthString(buffer, this); }
    void getFractionLengthString(char* buffer) const { GetFractionLengthString(buffer, this); }
    void getSlopeString(char* buffer) const { GetSlopeString(buffer, this); }
    void getBiasString(char* buffer) const { GetBiasString(buffer, this); }
    static void GetWordLengthString(char* buffer, const NumericType* type);
    static void GetFractionLengthString(char* buffer, const NumericType* type);
    /// Writes "2^n" for a power of two without bias, otherwise the shortest decimal that reads back the same.
    static void GetSlopeString(char* buffer, const NumericType* type);
    static void GetBiasString(char* buffer, const NumericType* type);
    /// Prints the type through the host.
    void disp() const;
    /// Returns the host expression that makes this type, such as "numerictype(true,16,15)" for the prefix
    /// "numerictype".
    std::string tostring(const char* prefix) const;
    /// Returns a short name such as "s16,15"; log keys contain it.
    std::string qpointstr() const;
    /// Returns "true", "false", or "[]" for Auto.
    const char* getIsSignedString() const;
    const char* getSignednessString() const;
    const char* getDataTypeString() const;

    // Host value forms. The caller owns a returned array and frees it with hvDestroyArray.

    /// Returns a logical scalar, or an empty 0-by-0 logical array for Auto.
    hvArray* getSignednessBool() const;
    hvArray* getSignednessBoolAsHvArray() const { return getSignednessBool(); }
    hvArray* getSignedEnumAsHvArray() const { return getSignednessBool(); }
    /// Returns the text of the sign as a host string.
    hvArray* getSignednessAsHvArray() const;
    /// Returns the sign; Auto raises "fixedpoint:NUMERICTYPE:signed:InvalidValue".
    Signedness getSpecifiedSignedness() const;
    /// As getSpecifiedSignedness; true for Signed.
    bool getSpecifiedSign() const;
    /// As getSpecifiedSignedness, as a logical scalar.
    hvArray* getSpecifiedSignAsHvArray() const;
    /// Reads a real numeric or logical scalar 0 or 1; raises "fixedpoint:<name>:signed:InvalidValue" for anything else.
    static bool getIsSignedFromHvArray(const hvArray* value, const char* name);
    /// As getIsSignedFromHvArray, except that an absent or empty array means Auto and an array that is neither numeric
    /// nor logical raises "fixedpoint:<name>:SignednessBool:InvalidValue".
    static Signedness getSignednessBoolFromHvArray(const hvArray* value, const char* name);

    /// Return the host types of the enumerations, made and registered on first use and owned by the host.
    static EnumStringType* getDataTypeModeEnum();
    static EnumStringType* getDataTypeEnum();
    static EnumStringType* getScalingEnum();
    static EnumStringType* getSignednessEnum();
    static EnumStringType* getDataTypeOverrideEnum();

    /// Evaluates a host expression; returns the host's status, 0 for success, and the result, which the caller owns
    /// (null unless there is one). Prints nothing for an expression that fails.
    static int EvalString(hvArray*& result, const char* text);
    /// Set a property from a host expression by its setter; an expression that fails or is not numeric changes nothing.
    /// Word and fraction lengths are truncated, NaN becomes 0, and values beyond int saturate.
    void setWordLengthString(const char* text);
    void setFractionLengthString(const char* text);
    void setSlopeString(const char* text);
    void setBiasString(const char* text);

    // Events: send the new value of one property to the listeners of a host handle. The string forms send the text
    // forms.

    static void NotifyWordLengthPropEvent(OMInterface* interface, int value);
    static void NotifyFractionLengthPropEvent(OMInterface* interface, int value);
    static void NotifySlopePropEvent(OMInterface* interface, double value);
    static void NotifyBiasPropEvent(OMInterface* interface, double value);
    static void NotifySignedPropEvent(OMInterface* interface, bool value);
    static void NotifyPrivDLGWordLengthStringPropEvent(OMInterface* interface, const NumericType* type);
    static void NotifyPrivDLGFractionLengthStringPropEvent(OMInterface* interface, const NumericType* type);
    static void NotifyPrivDLGSlopeStringPropEvent(OMInterface* interface, const NumericType* type);
    static void NotifyPrivDLGBiasStringPropEvent(OMInterface* interface, const NumericType* type);
    static void NotifyPrivDLGSignedPropEvent(OMInterface* interface, const NumericType* type);

 private:
    /// Returns whether the mode has an exponent or the value is 0; otherwise refuses the property `name`.
    bool fixedExponentConsistencyCheck(int value, const char* name) const;
    void setMode(DataTypeModeEnum mode, DataTypeEnum dataType, ScalingEnum scaling);
    void setNeutralScale();
    std::string scalingTail() const;

    fxpDataTypeProp mProp;
    DataTypeModeEnum mDataTypeMode;
    ScalingEnum mScaling;
};

}  // namespace EmbeddedTypeSystem
