// The fixed-point array: N-dimensional real or complex values with their numeric type, arithmetic rules and logs.
//
// Entries are stored values: (real-world value - bias) * (1 / slope adjustment factor), on the scale 2^FixedExponent,
// column by column, with real and imaginary parts apart. For a type without slope and bias that is the real-world
// value. The numeric type is held in the logger of the quantizer that every write uses, so a change of type is a change
// of that quantizer and doesn't requantize anything by itself. An object without local rules reads the global fimath at
// each use, and its quantizer is updated at the next write.
//
// Element operations act at the current index (setIndex), which callers keep within the entries; it isn't checked.
// Index, registers, caches and logs change even on const objects: an object belongs to one thread. Operations that make
// an array return a heap object that the caller owns; element operators return a register that the operand owns.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "descriptors/NumericType.h"
#include "descriptors/embedded.h"
#include "descriptors/fimath.h"
#include "fi/dimensions.h"
#include "host/export.h"
#include "host/hv.h"
#include "logging/qlogger.h"
#include "numbers/number.h"
#include "quantization/quantizer.h"

namespace tolvane::detail {
class broadcasting;
class Selection;
}  // namespace tolvane::detail

class EnumStringType;
class FiOMClass;
class OMInterface;

class TOLVANE_API fi {
 public:
    using NumericType = EmbeddedTypeSystem::NumericType;
    using DataTypeEnum = NumericType::DataTypeEnum;
    using DataTypeModeEnum = NumericType::DataTypeModeEnum;
    using ScalingEnum = NumericType::ScalingEnum;
    using Signedness = NumericType::Signedness;
    using ArithmeticModeEnum = fimath::ArithmeticModeEnum;
    using PrecisionModeEnum = fimath::PrecisionModeEnum;

    /// Select the constructors that copy one part of a complex array.
    enum class CopyReal { tag };
    enum class CopyImag { tag };

    /// Host properties by ordinal. Values in range that have no name here are accepted too.
    enum class PropertyEnum : std::int32_t {
        None = -1,
        Numerictype = 0,
        DataTypeMode = 1,
        DataType = 2,
        Scaling = 3,
        Signedness = 4,
        WordLength = 5,
        FractionLength = 6,
        BinaryPoint = 7,
        FixedExponent = 8,
        Slope = 9,
        SlopeAdjustmentFactor = 10,
        Bias = 11,
        Fimath = 12,
        RoundMode = 13,
        OverflowMode = 14,
        ProductMode = 16,
        ProductWordLength = 17,
        MaxProductWordLength = 18,
        ProductFractionLength = 19,
        SumMode = 20,
        SumWordLength = 21,
        MaxSumWordLength = 22,
        SumFractionLength = 23,
        CastBeforeSum = 24,
        Double = 25,
        Data = 26,
        Int = 27,
        IntArray = 28,
        DravelinArray = 29,
        Bin = 30,
        Oct = 31,
        Dec = 32,
        Hex = 33,
        Logging = 34,
        SumFixedExponent = 35,
        SumSlope = 36,
        SumSlopeAdjustmentFactor = 37,
        SumBias = 38,
        ProductFixedExponent = 39,
        ProductSlope = 40,
        ProductSlopeAdjustmentFactor = 41,
        ProductBias = 42,
        Noverflows = 43,
        Nunderflows = 44,
        Maxlog = 45,
        Minlog = 46,
        Tag = 47,
        DataTypeOverride = 49,
        Last = 50
    };

    // Construction. Tag and operation type go to the logger; `isLocal` says whether the object keeps a copy of the
    // rules or follows the global ones. Errors, by id: "fixedpoint:fi:nocomplexslopebias" for complex entries of a type
    // with slope and bias (under the feature s_feature_fi_realonly_slope_bias), "fixedpoint:fi:outofmemory", even for
    // dimensions whose product overflows, the description errors of `quantizer`, and for constructors with values those
    // of NumericType::checkNaNInf and, for complex values, NumericType::errorIfComplexLogical. Values are quantized
    // once, all real ones and then all imaginary ones, after all checks.

    /// Makes an empty 0-by-0 array of the default type without local rules.
    fi();
    /// Makes a scalar. `precision` raises the precision of the entries above the word length.
    fi(double value, const NumericType& type, const fimath& rules, unsigned precision, const std::string& tag,
       bool isLocal, embedded::OperationTypeEnum operation);
    fi(double value, bool isSigned, int wordLength, int fractionLength, const fimath& rules, unsigned precision,
       const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation);
    /// Makes m-by-n zeros; of a type with slope and bias, the quantized value that represents real-world zero.
    fi(std::uint64_t m, std::uint64_t n, const NumericType& type, const fimath& rules, bool isComplex,
       const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation, unsigned precision);
    /// Makes stored zeros, even where they don't represent real-world zero, since callers overwrite them.
    fi(const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type, const fimath& rules, bool isComplex,
       const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation, unsigned precision);
    /// As above; quantizer and log are copied from the given one, with the given type.
    fi(const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type, const fimath& rules, bool isComplex,
       const quantizer& source, bool isLocal);
    /// Make an array from real-world values, one for each element of the given dimensions.
    fi(const double* re, const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type, const fimath& rules,
       const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation);
    fi(const double* re, const double* im, const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type,
       const fimath& rules, const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation);
    /// Make an array filled with one real-world value.
    fi(double value, const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type, const fimath& rules,
       const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation);
    fi(double re, double im, const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type,
       const fimath& rules, const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation);
    /// Makes an array from a buffer, as setFromDVArray.
    fi(const void* buffer, const std::uint64_t* dims, std::uint64_t ndims, const NumericType& type, const fimath& rules,
       bool isComplex, const std::string& tag, bool isLocal, embedded::OperationTypeEnum operation);
    /// Makes an array from a numeric or logical host array, whose integers pass through a double. Unspecified scaling
    /// takes the best precision for the data. Without `isLocal` the values are still quantized by the given rules; the
    /// global ones apply afterwards. Raises "fixedpoint:fi:constructor:numeric" and as NumericType::setBestPrecision.
    fi(const hvArray* values, const NumericType& type, const fimath& rules, const std::string& tag, bool isLocal,
       embedded::OperationTypeEnum operation);
    /// As above, by the global rules with `isLocal`, otherwise by nearest and saturate. No rules are copied, not even
    /// for a local object; `precision` is ignored. Marks the data property as set and, while logging is on, reports the
    /// assignment and adds it to the session's log.
    fi(const hvArray* values, const NumericType& type, bool isLocal, unsigned precision, const std::string& tag,
       embedded::OperationTypeEnum operation);
    /// Copies entries, rules, quantizer with its log, and registers, whose current elements are cleared in both
    /// objects. Caches are not copied. For a view, copies the elements that it covers; if it extends beyond its root,
    /// the copy is a shorter column.
    fi(const fi& source);
    /// Make an array of the same type, rules and log, with all counts and extremes so far, from the current element,
    /// from the real parts, or from the imaginary parts; the imaginary part of a real array is real-world zero.
    fi(const fi& source, embedded::CopyElement tag);
    fi(const fi& source, CopyReal tag);
    fi(const fi& source, CopyImag tag);

    // The virtual operations; their order is that of the vtable slots, on which external callers rely.

    virtual void setIsReal(bool isReal);
    /// Sets the current index, from 0, of both parts.
    virtual void setIndex(std::uint64_t index) const;
    /// Returns the quantizer of all writes; without local rules it is first brought to the global modes.
    virtual const quantizer& getAssignmentQuantizer() const;
    virtual ~fi();
    /// If `makeComplex`, makes a real object complex, with zeros of at least the given precision; never makes it real.
    /// Raises "fixedpoint:fi:nocomplexslopebias".
    virtual void coordinateComplexity(bool makeComplex, unsigned precision);
    virtual bool isreal() const;
    virtual bool iscomplex() const;
    virtual const qlogger& getQlogger() const;

    // Element stores at the current index.

    /// Store values that already have this type: nothing is quantized or logged. The double is a stored value.
    fi& setvalue(const fi& source);
    fi& setvalue(double value);
    /// Converts the current element of the source and quantizes it; for equal types it only copies and logs. A complex
    /// source makes this array complex. Raises "fixedpoint:fi:noopleadingtocomplexslopebias".
    fi& operator=(const fi& source);
    /// Stores a real-world value; an imaginary part becomes stored zero.
    fi& operator=(double value);
    fi& operator=(int value) { return *this = static_cast<double>(value); }

    // Whole arrays.

    /// Takes the dimensions of the source and assigns all its elements; keeps type and rules. Errors as `operator=`.
    void copydata(const fi& source);
    /// Quantizes all entries by the quantizer's current modes, or, with `refresh`, by those of the rules; the entries
    /// of a view by its root's quantizer as it is.
    void quantizeAll(bool refresh);
    /// Brings the array to a size and type and, if local, to the rules. A real array becomes complex if requested; a
    /// complex one stays complex. Entries keep their values where size and kind allow; callers overwrite them all.
    /// Raises "fixedpoint:fi:outofmemory": if the product of the dimensions overflows, before anything changes;
    /// otherwise it leaves an empty array of the new type.
    void resizeAndZero(std::uint64_t m, std::uint64_t n, const NumericType& type, const fimath& rules,
                       bool makeComplex);
    void resizeAndZero(const std::uint64_t* dims, std::uint64_t ndims, std::uint64_t numel, const NumericType& type,
                       const fimath& rules, bool makeComplex);
    /// Updates the quantizer or entries to match type and rules.
    void updateAssignmentQuantizer();
    void updatePrecision();
    void reInitializeRealImag();
    /// Sets the precision of the entries without changing the word length; if it differs, the values are lost.
    void setPrecision(unsigned precision);
    /// Recomputes the counts that follow from the dimensions.
    void updateNumel();
    void copyDimensions(const std::uint64_t* dims, std::uint64_t ndims);

    // Entries. The forms with an index set only the cursor of the part they read.

    number& real() { return mReal; }
    const number& real() const { return mReal; }
    const number& real(std::uint64_t index) const { return mReal[index]; }
    /// Reads the imaginary entry at the current index of the real part; zero for a real object.
    const number& imag() const;
    const number& imag(std::uint64_t index) const;
    double realdouble() const { return mReal.todouble(); }
    double realdouble(std::uint64_t index) const { return mReal[index].todouble(); }
    double imagdouble() const { return imag().todouble(); }
    double imagdouble(std::uint64_t index) const { return imag(index).todouble(); }
    std::uint64_t getIndex() const { return mReal.getIndex(); }
    /// Returns this element's real part on the scale of the other's type, in a copy if the scales differ; valid until
    /// the next call.
    const number& getAdjustedReal(const fi& other) const;
    /// Returns the shared zero that represents the imaginary parts of real objects.
    static const number& getZeroNumber();
    /// Returns (x + (0 - bias)) * factor: a one-way conversion, not the inverse of any other.
    double adjustReal(double value) const;
    /// Convert between stored and real-world values; do nothing unless the type has slope and bias.
    double removeSlopeAdjustmentFactorBias(double realWorldValue) const;
    double addSlopeAdjustmentFactorBias(double storedValue) const;

    // Shape.

    std::uint64_t numel() const { return mNumel; }
    /// The largest dimension, 0 for an empty array.
    std::uint64_t length() const;
    std::uint64_t getM() const { return mM; }
    /// The product of all dimensions but the first.
    std::uint64_t getN() const { return mN; }
    std::uint64_t ndims() const { return mDims.size(); }
    /// Dimension sizes, valid until they change.
    const std::uint64_t* dims() const { return mDims.data(); }
    std::span<const std::uint64_t> dimensions() const { return mDims; }
    /// Returns a dimension counted from 1, and 1 beyond the last. Raises "fixedpoint:fi:getDimension:badDimension".
    std::uint64_t getDimension(std::uint64_t dimension) const;
    bool isempty() const { return mNumel == 0; }
    bool isscalar() const { return mNumel == 1; }
    bool isvector() const { return ndims() == 2 && (mM == 1 || mN == 1); }
    bool iscolumn() const { return isvector() && mN == 1; }
    bool isrow() const { return isvector() && mM == 1; }
    bool isSameSize(const fi& other) const;
    bool isSameSize(const hvArray* other) const;
    hvComplexity getComplexity() const { return iscomplex() ? hvCOMPLEX : hvREAL; }
    /// Returns whether all entries of a floating or scaled double type are finite.
    bool isFinite() const;

    // Checks; each raises the error it names or does nothing.

    /// "fixedpoint:fi:nobooleanmath".
    static void errorIfBooleanMath(const fi& a);
    /// "fixedpoint:fi:mixedmath"; fixed with scaled double is allowed.
    static void errorIfMixedMath(const fi& a, const fi& b);
    /// "fixedpoint:fi:fimathmismatch" if both have local rules and these differ.
    static void errorIfFimathMismatch(const fi& a, const fi& b);
    /// All three; rules are compared only between fixed-point operands.
    static void errorIfMathMismatch(const fi& a, const fi& b);
    /// "fixedpoint:fi:onlybinarypointmath".
    static void errorIfSlopeBiasMath(const fi& a);
    /// "fixedpoint:fi:scaleddoubleslopebiasmathnotdefined".
    static void errorIfScaledDoubleSlopeBiasMath(const fi& a, const fi& b);
    /// "fixedpoint:fi:<name>:ScaledDoubleOn".
    void errorIfScaledDouble(const std::string& name) const { errorIfScaledDouble(name, name); }
    void errorIfScaledDouble(const std::string& idSuffix, const std::string& name) const;
    /// Errors of NumericType for complex, NaN or infinite entries in a data type without such values.
    void errorIfBadValue(DataTypeEnum dataType) const;
    /// As setDoubleHvArray of its values, for an array whose elements are to be stored in this one.
    void errorIfBadSource(const fi& source) const;
    /// "fixedpoint:fi:dimagree".
    void checkElementwiseSize(const fi& other) const;
    void checkElementwiseSize(const hvArray* other) const;
    /// "fixedpoint:fi:badsubscript" below 0 and for NaN, "fixedpoint:fi:badindex" from numel() on.
    void checkSignedIndex(double index) const;

    // Type.

    const NumericType& getNumericType() const { return mAssignmentQuantizer.getNumericType(); }
    DataTypeModeEnum getDataTypeMode() const { return getNumericType().getDataTypeMode(); }
    DataTypeEnum getDataType() const { return getNumericType().getDataType(); }
    ScalingEnum getScaling() const { return getNumericType().getScaling(); }
    Signedness getSignedness() const { return getNumericType().getSignedness(); }
    bool getSigned() const { return getNumericType().isSigned(); }
    bool isSigned() const { return getNumericType().isSigned(); }
    int getWordLength() const { return getNumericType().getWordLength(); }
    int getWordlength() const { return getWordLength(); }
    int getFractionLength() const { return getNumericType().getFractionLength(); }
    int getFractionlength() const { return getFractionLength(); }
    int getFixedExponent() const { return getNumericType().getFixedExponent(); }
    double getSlopeAdjustmentFactor() const { return getNumericType().getSlopeAdjustmentFactor(); }
    double getSlope() const { return getNumericType().getSlope(); }
    double getBias() const { return getNumericType().getBias(); }
    fxpDataTypeDTOMode getDataTypeOverride() const { return getNumericType().getDataTypeOverride(); }
    /// As NumericType's; the caller owns the array.
    hvArray* getSignednessBool() const { return getNumericType().getSignednessBool(); }
    hvArray* getSignednessBoolAsHvArray() const { return getSignednessBool(); }
    hvArray* getSignednessAsHvArray() const { return getNumericType().getSignednessAsHvArray(); }
    bool isFixed() const { return getNumericType().isFixed(); }
    bool isFloat() const { return getNumericType().isFloat(); }
    bool isDouble() const { return getNumericType().isDouble(); }
    bool isSingle() const { return getNumericType().isSingle(); }
    bool isBoolean() const { return getNumericType().isBoolean(); }
    bool isScaledDouble() const { return getNumericType().isScaledDouble(); }
    bool isScaledType() const { return getNumericType().isScaledType(); }
    bool isSlopeBiasScaled() const { return getNumericType().isSlopeBiasScaled(); }
    /// The negation of isSlopeBiasScaled: true for double and single as well.
    bool isBinaryPointScaled() const { return !isSlopeBiasScaled(); }
    /// Returns whether stored values of both have the same meaning apart from their exponents.
    bool hasScaleOf(const fi& other) const {
        return getSlopeAdjustmentFactor() == other.getSlopeAdjustmentFactor() && getBias() == other.getBias();
    }

    // Type setters: the setters of NumericType on this object's type, with their errors and refusals. No entry is
    // requantized. An error leaves the object as it was.

    void setScaling(ScalingEnum scaling);
    /// Sets the three in this order.
    void setScaling(double slopeAdjustmentFactor, int fixedExponent, double bias);
    /// Auto counts as signed.
    void setSignedness(Signedness signedness);
    /// An empty array means signed.
    void setSignednessBool(const hvArray* value);
    void setSigned(bool isSigned);
    /// Resizes the entries as reInitializeRealImag does.
    void setWordLength(int wordLength);
    void setFractionLength(int fractionLength);
    void setFixedExponent(int fixedExponent);
    void setSlopeAdjustmentFactor(double slopeAdjustmentFactor);
    void setSlope(double slope);
    void setBias(double bias);
    void setDataTypeOverride(fxpDataTypeDTOMode dataTypeOverride);
    /// A change raises as errorIfBadValue first. Double and single drop the local rules.
    void setDataType(DataTypeEnum dataType);
    /// As setDataType; fixed-point with unspecified scaling is taken as binary point.
    void setDataTypeMode(DataTypeModeEnum mode);

    // Rules: the object's own or the global fimath; for two operands, the rules of the left one if local, otherwise of
    // the right one.

    const fimath& getFimath() const { return mFimath ? *mFimath : fimath::getGlobalFimath(); }
    fimath& getFimath() { return mFimath ? *mFimath : fimath::getGlobalFimath(); }
    const fimath& getFimath(const fi& other) const { return mFimathIsLocal ? getFimath() : other.getFimath(); }
    embedded::RoundModeEnum getRoundMode() const { return getFimath().getRoundMode(); }
    embedded::RoundModeEnum getRoundMode(const fi& other) const { return getFimath(other).getRoundMode(); }
    embedded::OverflowModeEnum getOverflowMode() const { return getFimath().getOverflowMode(); }
    embedded::OverflowModeEnum getOverflowMode(const fi& other) const { return getFimath(other).getOverflowMode(); }
    PrecisionModeEnum getPrecisionMode() const { return getFimath().getPrecisionMode(); }
    PrecisionModeEnum getPrecisionMode(const fi& other) const { return getFimath(other).getPrecisionMode(); }
    ArithmeticModeEnum getProductMode() const { return getFimath().getProductMode(); }
    ArithmeticModeEnum getProductMode(const fi& other) const { return getFimath(other).getProductMode(); }
    int getProductWordLength() const { return getFimath().getProductWordLength(); }
    int getProductWordLength(const fi& other) const { return getFimath(other).getProductWordLength(); }
    int getMaxProductWordLength() const { return getFimath().getMaxProductWordLength(); }
    int getMaxProductWordLength(const fi& other) const { return getFimath(other).getMaxProductWordLength(); }
    int getProductFixedExponent() const { return getFimath().getProductFixedExponent(); }
    int getProductFixedExponent(const fi& other) const { return getFimath(other).getProductFixedExponent(); }
    int getProductFractionLength() const { return getFimath().getProductFractionLength(); }
    int getProductFractionLength(const fi& other) const { return getFimath(other).getProductFractionLength(); }
    double getProductSlope() const { return getFimath().getProductSlope(); }
    double getProductSlope(const fi& other) const { return getFimath(other).getProductSlope(); }
    double getProductSlopeAdjustmentFactor() const { return getFimath().getProductSlopeAdjustmentFactor(); }
    double getProductSlopeAdjustmentFactor(const fi& other) const {
        return getFimath(other).getProductSlopeAdjustmentFactor();
    }
    double getProductBias() const { return getFimath().getProductBias(); }
    double getProductBias(const fi& other) const { return getFimath(other).getProductBias(); }
    ArithmeticModeEnum getSumMode() const { return getFimath().getSumMode(); }
    ArithmeticModeEnum getSumMode(const fi& other) const { return getFimath(other).getSumMode(); }
    int getSumWordLength() const { return getFimath().getSumWordLength(); }
    int getSumWordLength(const fi& other) const { return getFimath(other).getSumWordLength(); }
    int getMaxSumWordLength() const { return getFimath().getMaxSumWordLength(); }
    int getMaxSumWordLength(const fi& other) const { return getFimath(other).getMaxSumWordLength(); }
    int getSumFixedExponent() const { return getFimath().getSumFixedExponent(); }
    int getSumFixedExponent(const fi& other) const { return getFimath(other).getSumFixedExponent(); }
    int getSumFractionLength() const { return getFimath().getSumFractionLength(); }
    int getSumFractionLength(const fi& other) const { return getFimath(other).getSumFractionLength(); }
    double getSumSlope() const { return getFimath().getSumSlope(); }
    double getSumSlope(const fi& other) const { return getFimath(other).getSumSlope(); }
    double getSumSlopeAdjustmentFactor() const { return getFimath().getSumSlopeAdjustmentFactor(); }
    double getSumSlopeAdjustmentFactor(const fi& other) const { return getFimath(other).getSumSlopeAdjustmentFactor(); }
    double getSumBias() const { return getFimath().getSumBias(); }
    double getSumBias(const fi& other) const { return getFimath(other).getSumBias(); }
    bool getCastBeforeSum() const { return getFimath().getCastBeforeSum(); }
    bool getCastBeforeSum(const fi& other) const { return getFimath(other).getCastBeforeSum(); }
    /// Returns a host double scalar, 1.0 for rules that compute as C does; the caller owns it.
    hvArray* getCStyle() const;

    // Rule setters: the setters of fimath, on the rules in force. Without local rules they change the global ones, for
    // all objects that follow them.

    void setRoundMode(embedded::RoundModeEnum mode);
    void setOverflowMode(embedded::OverflowModeEnum mode);
    void setPrecisionMode(PrecisionModeEnum mode);
    void setProductMode(ArithmeticModeEnum mode);
    void setSumMode(ArithmeticModeEnum mode);
    void setCastBeforeSum(bool on);
    void setProductWordLength(int wordLength);
    void setMaxProductWordLength(int wordLength);
    void setSumWordLength(int wordLength);
    void setMaxSumWordLength(int wordLength);
    void setProductFractionLength(int fractionLength);
    void setSumFractionLength(int fractionLength);
    void setProductFixedExponent(int exponent);
    void setSumFixedExponent(int exponent);
    void setProductSlope(double slope);
    void setSumSlope(double slope);
    void setProductSlopeAdjustmentFactor(double factor);
    void setSumSlopeAdjustmentFactor(double factor);
    void setProductBias(double bias);
    void setSumBias(double bias);
    void setCStyle(const hvArray* value);

    /// Makes a private copy of the rules; does nothing if given the object's own rules.
    void setFimath(const fimath& rules);
    /// False drops the private copy. True on an object without one marks it local; it then reads the global rules.
    void setFimathIsLocal(bool isLocal);
    bool getFimathIsLocal() const { return mFimathIsLocal; }

    // Marks and tag.

    bool getIsAutoScaled() const { return mIsAutoScaled; }
    void setIsAutoScaled(bool on) { mIsAutoScaled = on; }
    bool getDataSetByPVPair() const { return mDataSetByPVPair; }
    void setDataSetByPVPair(bool on) { mDataSetByPVPair = on; }
    const std::string& getTag() const { return mAssignmentQuantizer.getTag(); }
    void setTag(const char* tag) { mAssignmentQuantizer.setTag(tag); }
    PropertyEnum getLastPropertySet() const { return mLastPropertySet; }
    /// Raises "fixedpoint:fi:setLastPropertySet:BadEnum" outside -1 to 50.
    void setLastPropertySet(PropertyEnum property);
    /// Returns "fi".
    static const char* getVelmarClassName();
    /// Returns "embedded.fi".
    static const char* getVelmarPackageClassName();

    // Host forms.

    /// Returns the object that a host handle, given as OMInterface, owns.
    static fi* getObjFromPrhs(void* handle);
    /// Returns the object inside a host value of class "embedded.fi", which must outlive its use; raises
    /// "fixedpoint:fi:mustBeFi" for any other value.
    static fi& getFiFromHvArray(const hvArray* value);
    /// Returns a new host value that holds a handle of the class, to which it takes a reference.
    static hvArray* convertToVelmarArray(OMInterface* handle);
    /// Return a new host value of the class around the array. It holds the only reference to the handle: an internal
    /// one, or an external one, as values of the user's workspace do. Raise "fixedpoint:fi:notRegistered".
    static hvArray* convertToInternalVelmarArray(std::unique_ptr<fi> object);
    static hvArray* convertToExternalVelmarArray(std::unique_ptr<fi> object);
    /// Return the real-world values as a new host array that the caller owns: as double, as single, and as a real
    /// logical array that is true where the real part isn't zero.
    hvArray* getDoubleHvArray() const;
    hvArray* getSingleHvArray() const;
    hvArray* getBooleanHvArray() const;
    /// Store the real-world values of a numeric or logical host array: size and complexity become those of the array;
    /// type, rules and log stay the same. Raise as the constructor from a host array and leave the object as it was,
    /// except that it is empty if memory runs out.
    void setDoubleHvArray(const hvArray* values);
    void setDataHvArray(const hvArray* values) { setDoubleHvArray(values); }

    // Subscripts, by the host's index structure. A plan is a host array of doubles with the shape of the result. Its
    // values name elements, from 0 if elements are read or kept; in an assignment, values from 1 name elements of this
    // array, values from -1 downwards elements of the right side, and 0 a new zero. A value that names no element
    // raises the host's error for that. Errors of the host's own subscripts are passed on.

    /// Evaluates the path and returns an array that the caller owns: for "()", elements as a new array; anything else
    /// as the host's built-in access gives it. `self` is the handle of this object. One or two numbers read an element
    /// without calling the host; row and column are combined to one position, so a row beyond the last is no error as
    /// long as the element exists. Plain subscripts cost what they touch; all others, and all if the host's function
    /// was replaced, cost an array of all positions. Raises "fixedpoint:fi:subsref:parenlast",
    /// "fixedpoint:fi:badsubscript" and "fixedpoint:fi:badindex".
    hvArray* subsref(const hvArray* path, OMInterface* self) const;
    /// Assigns the right side, a host array or one around a `fi`, and returns the array of the result, which the caller
    /// owns: `self`, the array around this object, if it could take the values in place, otherwise one around a new
    /// object. An empty right side deletes. Raises "fixedpoint:fi:subsasgn:parenlast",
    /// "fixedpoint:fi:subsasgn:rhsOfUnsupportedType", "fixedpoint:fi:badsubscript",
    /// "fixedpoint:fi:subsasgn:index_assign_element_count_mismatch",
    /// "fixedpoint:fi:subsasgn:index_to_remove_exceeds_matrix_dimensions",
    /// "fixedpoint:fi:noopleadingtocomplexslopebias" and as the constructor from a host array.
    hvArray* subsasgn(hvArray* self, const hvArray* path, const hvArray* right);
    /// Make a new array by a plan. The first sets its quantizer by the rules in force. Raise
    /// "fixedpoint:fi:subsref:double_index".
    fi* subscriptedReference(const hvArray* plan) const;
    fi* subscriptedDelete(const hvArray* plan) const;
    fi* subscriptedDeleteFromStruct(const hvArray* path) const;
    /// Store elements of the right side as named by a plan with one value for each element of this array.
    void subscriptedOverwriteAssignment(const hvArray* plan, const fi& right);
    void subscriptedOverwriteAssignment(const hvArray* plan, const hvArray* right);
    /// Make a new array of this type from this array and the right side; the last form returns it in a host array.
    fi* subscriptedGrowAssignment(const hvArray* plan, const fi& right) const;
    fi* subscriptedGrowAssignmentFromStruct(const hvArray* path, const fi& right) const;
    hvArray* subscriptedGrowAssignment(const hvArray* plan, const hvArray* right) const;

    // Logs. The loggers of registers require that the register exists.

    static bool getLogging() { return qlogger::getLogging(); }
    static void setLogging(bool on) { qlogger::setLogging(on); }
    const qlogger& getsumQlogger() const { return mSumRegister->getQlogger(); }
    const qlogger& getproductQlogger() const { return productRegister()->getQlogger(); }
    const qlogger& getproductregsumQlogger() const { return productRegister()->getsumQlogger(); }
    std::uint64_t getNoverflows() const { return getQlogger().getNoverflows(); }
    std::uint64_t getNunderflows() const { return getQlogger().getNunderflows(); }
    std::uint64_t getNoperations() const { return getQlogger().getNoperations(); }
    std::uint64_t getNmathoperations() const { return getQlogger().getNMathoperations(); }
    double getMaxLogAsRealWorldValue() const;
    double getMinLogAsRealWorldValue() const;
    void setMaxLogFromRealWorldValue(double value);
    void setMinLogFromRealWorldValue(double value);
    /// Resets this log and those of existing registers.
    void resetLogging() const;
    /// Returns a 1-by-1 host structure "Assignment", "Sum", "Product", "ProductSum"; the caller owns it.
    hvArray* saveLogsInHvArrayStruct() const;
    /// Returns a host cell column of `filog` objects, one for each log that has seen a value; the caller owns it.
    hvArray* getlocalfilogs() const;
    /// Writes the logs that have seen a value to the log map and resets them.
    void consolidatelocalfilogs() const;
    /// Warns of overflows and underflows of assignments since the last report; first marks them as reported.
    static void displaySubsasgnLogging(const qlogger& logger);
    /// Adds the counts since the log's last report to the session's assignment log, and copies the extremes.
    static void updateAssignlog(const qlogger& logger);
    /// Print and reset the session's logs, while logging is on.
    static void displayGlobalLog();
    static void resetGlobalLog();
    /// Return the session's logs; they outlive every object.
    static qlogger& getAssignlog();
    static qlogger& getSumlog();
    static qlogger& getProductlog();

    // Sums.

    /// Make a new array of the sum type that the caller owns; a scalar is combined with every element. Raise as
    /// getNumericTypeForAddOp and checkElementwiseSize do, "fixedpoint:fi:complexslopebiasnotdefined" and
    /// "fixedpoint:fi:castbeforesumfalseslopebiasnotdefined".
    fi& plus(const fi& b) const;
    fi& minus(const fi& b) const;
    /// Compute the current elements into the sum register and return it; it is real or complex as it was created. The
    /// register is cleared first, so an earlier result of the same left operand must be copied before it can be used as
    /// the right one: a + (a + b) is a + a. The same holds for the products below.
    fi& operator+(const fi& b) const;
    fi& operator-(const fi& b) const;
    /// Compute at the current indices in place; the type stays.
    fi& operator+=(const fi& b);
    fi& operator-=(const fi& b);
    /// Derives the type of a sum or difference and returns it in a cell of this object, valid until the next call.
    /// Raises as errorIfMathMismatch, "fixedpoint:fi:mathmodeslopebiasnotdefined" and
    /// "fixedpoint:fi:MaxSumWordLengthExceeded".
    NumericType& getNumericTypeForAddOp(const fi& b) const;
    /// Returns the data type of a result; raises as errorIfMathMismatch.
    static DataTypeEnum getDataTypeForMathOp(const fi& a, const fi& b);
    /// Make a new sum register: signed, with the sum fields of the rules, or of the given type.
    void initializeSumRegister(const fimath& rules) const;
    void initializeSumRegister(const NumericType& type, const fimath& rules, unsigned precision) const;
    bool isSumRegisterInitialized() const { return mSumRegister != nullptr; }

    // Products.

    /// Make a new array that the caller owns: the element-wise product, where a scalar is combined with every element,
    /// and the matrix product, which is `times` if an operand is a scalar. Results have the product type, but products
    /// of two complex operands and sums of products have the sum type. Raise as the type functions below and
    /// checkElementwiseSize do, "fixedpoint:fi:complexslopebiasnotdefined", and `mtimes` also
    /// "fixedpoint:fi:castbeforesumfalseslopebiasnotdefined", "fixedpoint:fi:mathmodeslopebiasnotdefined",
    /// "fixedpoint:fi:mtimes:inputsMustBe2D" and "fixedpoint:fi:innerdim".
    fi& times(const fi& b) const;
    fi& mtimes(const fi& b) const;
    /// Computes the current elements into a register of an operand and returns it: the product register, or the sum
    /// register inside it if both are complex.
    fi& operator*(const fi& b) const;
    /// Computes at the current indices in place; the type stays.
    fi& operator*=(const fi& b);
    /// Derives the type of a product and returns it in a cell of this object, valid until the next call. A product of
    /// two signed values has only as many bits as both words together. Raises as errorIfMathMismatch,
    /// "fixedpoint:fi:mathmodeslopebiasnotdefined" and "fixedpoint:fi:MaxProductWordLengthExceeded".
    NumericType& getProductTypeForMpyOp(const fi& b) const;
    /// Derive the type of the sum of the partial products of a complex product, and of the sums in a matrix product,
    /// from the type of the products; the cell is that of getNumericTypeForAddOp. Raise as that does.
    NumericType& getSumTypeForMpyOp(const fi& b, const NumericType& product) const;
    NumericType& getSumNumericTypeForMatrixMultiply(const fi& b, const NumericType& product) const;
    /// Make a new product register with a sum register inside: signed, with the product and sum fields of the rules, or
    /// of the given types.
    void initializeProductRegister(const fimath& rules, unsigned precision) const;
    void initializeProductRegister(const NumericType& sumType, const NumericType& productType, const fimath& rules,
                                   unsigned precision) const;
    bool isProductRegisterInitialized() const { return mProductRegister || mLateProduct; }

    // Division and roots.

    /// Makes a new array of the given type, adjusted to the data type of the operands: the quotient of the elements at
    /// a working precision, quantized once. Division by zero gives the lower bound of the type for a negative
    /// numerator and otherwise the upper one, and warns "fi:divideByZero" if the last division was by zero. Raises
    /// "fixedpoint:fi:nobooleanmath", "fixedpoint:fi:onlybinarypointdivide",
    /// "fixedpoint:fi:noopleadingtocomplexslopebias" and "fixedpoint:fi:dimagree".
    fi& over(const fi& b, const NumericType& type) const;
    /// Make a new array of square roots that the caller owns, found bit by bit from the top and rounded by comparing
    /// the squares of the neighbours. Without a type, the result has half the bits. Raise
    /// "fixedpoint:fi:sqrt:binarypointonly", "...:unspecifiedscaling", "...:unspecifiedsign", "...:nocomplex",
    /// "...:nonegative" and "...:nobooleansqrt".
    fi* sqrtBisection() const;
    fi* sqrtBisection(const NumericType& type) const;
    fi* sqrtBisection(const fimath& rules) const;
    fi* sqrtBisection(const NumericType& type, const fimath& rules) const;
    NumericType getNumericTypeForSqrtBisection() const;
    /// The enumeration of root methods by name, like the enumerations of `embedded`. Roots are computed by bisection.
    static EnumStringType* getSquareRootMethodEnum();
    /// Make a new array of absolute values of real data; the negated most negative value is quantized. Raise
    /// "fixedpoint:fi:abs:binarypointonly" and "fixedpoint:fi:realabs:nocomplex".
    fi* realabs() const;
    fi* realabs(const NumericType& type) const;
    fi* realabs(const fimath& rules) const;
    fi* realabs(const NumericType& type, const fimath& rules) const;
    /// Sets `out` to the magnitude of the current element, at the precision of `out`.
    void abs(number& out) const;

    // Convolution and sums along the first dimension. Results are new arrays that the caller owns.

    /// The full convolution; its middle part, as long as this array; and the part without zero padding. A convolution
    /// is a matrix product whose inner dimension is the shorter operand. Raise as the type functions of `mtimes`.
    fi& convF(const fi& b) const;
    fi& convS(const fi& b) const;
    fi& convV(const fi& b) const;
    /// Computes `count` elements of the full convolution from `offset` on, as a row or as a column. The result never
    /// keeps local rules.
    fi& ficonv(const fi& b, std::uint64_t count, std::uint64_t offset, bool rowResult) const;
    /// Sums the columns. An empty array gives zeros of its own type.
    fi& leadingdimension_sum() const;
    /// In a cell of this object, valid until the next call. Raises "fixedpoint:fi:nobooleanmath",
    /// "fixedpoint:fi:onlybinarypointmath" and "fixedpoint:fi:MaxSumWordLengthExceeded".
    NumericType& getNumericTypeForLeadingDimensionSum() const;

    // Comparison of values, whatever the types. Ordering uses only the real parts.

    /// Compare the current elements.
    bool operator==(const fi& b) const;
    bool operator!=(const fi& b) const { return !(*this == b); }
    bool operator>(const fi& b) const { return mReal > b.getAdjustedReal(*this); }
    bool operator>=(const fi& b) const { return mReal >= b.getAdjustedReal(*this); }
    bool operator<(const fi& b) const { return mReal < b.getAdjustedReal(*this); }
    bool operator<=(const fi& b) const { return mReal <= b.getAdjustedReal(*this); }
    /// Return a new host logical array; a scalar is compared with every element. Raise "fixedpoint:fi:dimagree".
    hvArray* eq(const fi& b) const;
    hvArray* ne(const fi& b) const;
    hvArray* gt(const fi& b) const;
    hvArray* ge(const fi& b) const;
    hvArray* lt(const fi& b) const;
    hvArray* le(const fi& b) const;
    /// Returns a new host logical scalar: equal dimensions, complexity and values.
    hvArray* isequal(const fi& b) const;
    /// As these, with the flags in memory of the caller: the function is called once, with the operand whose dimensions
    /// the result has, and returns memory for a flag of each element.
    enum class Comparison { eq, ne, gt, ge, lt, le };
    using FlagsFor = std::function<std::span<std::uint8_t>(const fi& shape)>;
    void compare(Comparison comparison, const fi& b, const FlagsFor& flagsFor) const;
    bool equalsArray(const fi& b) const;
    /// Make a new array of the larger or smaller elements, complex ones by magnitude; ties keep the array's element, or
    /// the left one. Raise "fixedpoint:fi:max:numerictypemismatch", "fixedpoint:fi:max:fimathmismatch" (or "min") and
    /// "fixedpoint:fi:dimagree".
    fi& max(const fi& b) const;
    fi& min(const fi& b) const;
    /// Set the extremes of the columns and their row numbers, from 1; the caller owns both.
    void unary_max(fi*& values, hvArray*& indices) const;
    void unary_min(fi*& values, hvArray*& indices) const;
    /// As above, with the row numbers in memory of the caller, one for each column.
    std::unique_ptr<fi> greatestOfColumns(double* rows) const;
    std::unique_ptr<fi> leastOfColumns(double* rows) const;
    /// Make a copy whose real parts are sorted as number::stridesort does; the second form also stores the original
    /// position of each element in the caller's array of doubles.
    fi& stridesort(bool ascending, std::uint64_t stride, std::uint64_t length) const;
    fi& stridesort2(double*& indices, bool ascending, std::uint64_t stride, std::uint64_t length) const;

    // Shapes. Elements are moved as stored into a new array of the same type, rules and tag, which the caller owns.
    // Additional zeros are those of the constructor.

    /// Raise "fixedpoint:fi:transpose:NDArray" and "fixedpoint:fi:ctranspose:NDArray". The conjugate negates imaginary
    /// parts through the quantizer of the new array, which counts overflows.
    fi* transpose() const;
    fi* ctranspose() const;
    /// Gives the elements other dimensions, in an array of doubles. The caller is responsible for their number: a
    /// smaller array drops the last elements, a larger one is padded with stored zeros. Raises
    /// "fixedpoint:fi:reshape:siz_not_double", "fixedpoint:fi:outofmemory" and the host's error for a bad index.
    fi* reshape(const hvArray* siz) const;
    /// Removes dimensions of size 1, down to two dimensions.
    fi* squeeze() const;
    /// Put a vector on the k-th diagonal of a square matrix, or extract that diagonal of a matrix as a column;
    /// diagonals above the main one have positive numbers. k is truncated to an integer. Raise
    /// "fixedpoint:fi:diag:firstInputMustBe2D", "fixedpoint:fi:diag:kthDiagInputNotInteger" for NaN,
    /// "fixedpoint:fi:diag:pmaxsize" and "fixedpoint:fi:outofmemory".
    fi* diag() const { return diag(0.0); }
    fi* diag(double k) const;
    /// Keep the elements on and below, or on and above, the k-th diagonal. Both raise
    /// "fixedpoint:fi:tril:firstInputMustBe2D", "fixedpoint:fi:diag:kthDiagInputNotInteger" for NaN, and the host's
    /// error for a bad index if k doesn't fit in 64 bits.
    fi* tril() const { return tril(0.0); }
    fi* tril(double k) const;
    fi* triu() const { return triu(0.0); }
    fi* triu(double k) const;
    /// Make the matrix whose anti-diagonals are the elements of this array, followed by the elements of the other from
    /// the second on, assigned; without another, zeros below the main one. Warn "VELMAR:hankel:AntiDiagonalConflict" if
    /// the last element differs from the first of the other. Raise "fixedpoint:fi:hankel:emptynotallowed".
    fi* hankel() const;
    fi* hankel(const fi& row) const;
    /// Make the matrix whose diagonals are, downwards, the elements of this array and, to the right, those of the other
    /// from the second on, assigned; without another, the Hermitian matrix of this row. Warn
    /// "fixedpoint:fi:toeplitz:DiagonalConflict" if the first elements differ, hence also for a complex first element
    /// of a single array. Raise "fixedpoint:fi:toeplitz:emptynotallowed", and for a single array
    /// "fixedpoint:fi:complexslopebiasnotdefined".
    fi* toeplitz() const;
    fi* toeplitz(const fi& row) const;

    // Bits of the stored integers. Bit 1 is the least significant. Each raises "fixedpoint:fi:<name>:ScaledDoubleOn"
    // first.

    /// Make a new array of the common type. Raise "fixedpoint:fi:bitAndXorOr:mixedNumericTypes" and
    /// "fixedpoint:fi:dimagree".
    fi& fibitand(const fi& b) const;
    fi& fibitor(const fi& b) const;
    fi& bitxor(const fi& b) const;
    /// The loop of the three above, by the multi-precision form of the element operation, such as number::mpbitand.
    using BitOperation = number& (number::*)(const number& other, bool isSigned, int wordlength, double slope,
                                             int exponent, double bias, mpfr_srcptr twoToWordlength);
    fi& bitandorxor(const fi& b, BitOperation operation) const;
    fi& bitcmp() const;
    /// Return the bits at one position, or at a position for each element, as a new host uint8 array. Raise
    /// "fixedpoint:fi:bitget:sizeMismatch", "...:inputsMustBeReal", "...:indexMustBeNumeric",
    /// "fixedpoint:fi:bitGet:BITOutOfRange" and as number::bitget.
    hvArray* bitget(const hvArray* bit) const;
    hvArray* bitget(const fi& bit) const;
    /// Sets one bit of the current element in place.
    void bitset(int bit, bool value);
    /// Makes a new array with bits set, by pairs of position and value. Raises "fixedpoint:fi:bitset:BITOutOfRange",
    /// "...:inputsMustBeReal", "...:indexMustBeNumeric", "...:valuesMustBeNumeric",
    /// "...:indexMustBePositiveInteger", "fixedpoint:fi:bitSet:sizeMismatch" and
    /// "fixedpoint:fi:bitSet:ArgSizeMismatch".
    fi& bitset(const hvArray* bit, const hvArray* value) const;
    /// Makes a new array of the same type, this times 2^k; rounds by the rules, or down if `floorRound`.
    fi& pow2(int k, bool floorRound) const;
    /// Makes a new array of the stored integers.
    fi& stripscaling() const;
    /// Makes a new array of the same bits with another type of the same word length. Raises
    /// "fixedpoint:fi:reinterpretcast:onlyfixedpointnumerictype", "fixedpoint:fi:onlybinarypointmath",
    /// "fixedpoint:fi:reinterpretcast:unspecifiedsign", "...:unspecifiedscaling" and "...:wrongwordlength".
    fi& reinterpretcast(const NumericType& type) const;

    // Constants of the type, as new scalars (`range`: lower and upper bound in a row), and signs. The caller owns them.

    fi* realmax() const;
    fi* realmin() const;
    fi* upperbound() const;
    fi* lowerbound() const;
    fi* eps() const;
    fi* lsb() const;
    fi* range() const;
    /// The bounds as integers, with fixed exponent 0.
    fi* intmax() const;
    fi* intmin() const;
    /// Negates; a slope-bias type flips its bias.
    fi* uminus() const;
    /// Raises "fixedpoint:fi:complexslopebiasnotdefined".
    fi* conj() const;
    /// Makes a complex array of this type from real parts and imaginary parts, which are quantized to the type. Raises
    /// "fixedpoint:fi:nocomplexslopebias", "fixedpoint:fi:complex:nologicalcomplex",
    /// "fixedpoint:fi:complex:invalidRealPartInput" and "fixedpoint:fi:dimagree".
    fi& complex(const fi& imagPart) const;
    /// Returns -1, 0 and 1 as a new host int8 array. Raises "fixedpoint:fi:complexnotdefined".
    hvArray* sign() const;
    /// As above, into memory of the caller.
    void storeSigns(std::span<std::int8_t> signs) const;
    fi* getRealFi() const;
    fi* getImagFi() const;

    // Text forms: a row of characters for each row of elements, with the columns of all further dimensions side by
    // side.

    /// Returns the words as digits in a base from 2 to 36, as many per word as the word length needs, in a new host
    /// char array that the caller owns. Negative words are in two's complement; double and single give the bits of
    /// their format. Raises "fixedpoint:fi:num2base:ScaledDoubleOn" and "fixedpoint:fi:num2base:baseoutofrange".
    hvArray* num2base(int base) const;
    /// As num2base, as decimal numbers with a sign, in fields one character wider. In a complex array each block of
    /// columns ends with a column of character code 0: readers rely on the width of the blocks. Raises
    /// "fixedpoint:fi:num2sdec:ScaledDoubleOn" and, for floating types, "fixedpoint:quantizer:sdec:fixedonly".
    hvArray* num2sdec() const;
    /// Takes the size of a text in the form of num2base, in a base from 2 to 18, and stores its words. Text with an "i"
    /// is complex and makes the array complex; other text sets the imaginary parts of a complex array to zero. Digits
    /// may be in either case. The digit just above the last one of the base is accepted, but a word that contains it
    /// becomes zero. Bits above the word are dropped with the warning "fixedpoint:base2fixed:too_many_bits". Raises
    /// "fixedpoint:fi:base2num:ScaledDoubleOn", "fixedpoint:fi:nocomplexslopebias", for floating types
    /// "fixedpoint:fi:base2float:valuetoolarge", and as base2numValidateAndInit.
    void base2num(const hvArray* text, int base);
    /// Checks a text and returns the size of the array in it; the delimiters separate the words of a real and of a
    /// complex text. Raises "fixedpoint:fi:base2num:BadBase", "...:NotCharArray", "...:EmptyInput" and
    /// "...:InvalidElement" with the position of the element, and the host's error for more than two dimensions.
    static void base2numValidateAndInit(const hvArray* text, int base, const char* realDelimiters,
                                        const char* complexDelimiters, std::uint64_t& rows,
                                        std::uint64_t& elementsPerRow, bool& isComplex);
    /// Whether base2num accepts all characters as digits: true for an empty word, false for null.
    static bool base2numCheckElement(const char* token, int base);

    /// Prints values, type, rules and tag; the second prints only the values.
    void disp() const;
    void dispArray() const;

    // Stored integers as host arrays. A chunk is 32 bits; the chunks of an element are adjacent, lowest first.
    // Functions that store integers make all checks before they change anything, except that the array is empty if
    // memory runs out.

    enum class IntArrayChunkMode : std::int32_t { Natural = 0, AlwaysFour = 1 };
    /// Position of the chunks: in an additional leading dimension, or in a longer first dimension. An array of one row
    /// always uses the second.
    enum class IntArrayDimensionMode : std::int32_t { Leading = 0, First = 1 };
    /// ceil(word length / 32).
    int numChunks() const;
    /// Returns the stored integers in the smallest host class that holds the word, up to 64 bits; an entry between two
    /// integers is rounded, ties away from zero, and one beyond the range of the class is converted as
    /// numbers/truncation.h says. Floating and boolean types return their values in the class of their name, scaled
    /// doubles their entries. Wider words return doubles and warn "fixedpoint:fi:intover64bits".
    hvArray* getIntHvArray() const;
    /// Takes size and complexity of the array and stores its integers through the quantizer; types that aren't fixed
    /// take the values as entries. Integers of 64 bits go to setDravelinIntArray if the word is longer than 32 bits or
    /// not fixed. Raises "fixedpoint:fi:int:notnumeric", "fixedpoint:fi:nocomplexslopebias" and the errors of
    /// NumericType::checkNaNInf and errorIfComplexLogical.
    void setIntHvArray(const hvArray* values);
    /// As the two above, with words of more than 32 bits as chunks. Raise
    /// "fixedpoint:fi:intarray:DataTypeNotSupported", "...:not_uint32" and "...:leadingdim".
    hvArray* getIntArray(IntArrayChunkMode chunks, IntArrayDimensionMode dimension) const;
    void setIntArray(const hvArray* values, IntArrayChunkMode chunks, IntArrayDimensionMode dimension);
    /// The chunk form of any word: words of uint32 in two's complement, bits above the word 0. The setter stores words
    /// as they are, without the quantizer, removes singleton dimensions if the chunks are in the leading one, and does
    /// nothing for null.
    hvArray* getIntArrayHvArray(IntArrayChunkMode chunks, IntArrayDimensionMode dimension) const;
    void setIntArrayHvArray(const hvArray* values, IntArrayChunkMode chunks, IntArrayDimensionMode dimension);
    /// Stores words of `chunkCount` chunks as they are: one word per element, or one at the current index. `im` is used
    /// only for a complex object.
    void set32BitChunkIntArray(const std::uint32_t* re, const std::uint32_t* im, int chunkCount, bool wholeArray);
    /// Returns a new host value of class "embedded.fi", with local rules: floor and saturate.
    static hvArray* convertIntArrayToFiArray(const hvArray* values, bool isSigned, int wordLength, int fractionLength,
                                             IntArrayChunkMode chunks, IntArrayDimensionMode dimension);
    /// Repack an array of this object's words in its natural chunk count. They take ownership of the array and return
    /// it or a new one; an array of another class is returned unchanged.
    hvArray* convert32BitIntArrayTo64BitIntArray(hvArray* values, bool convert) const;
    hvArray* convert64BitIntArrayTo32BitIntArray(hvArray* values) const;
    /// Set the unused bits of the top chunks of negative elements to one, or clear them for all elements, in signed
    /// words of at least 33 bits.
    void addSignExtension32BitIntArray(hvArray* values) const;
    void removeSignExtension32BitIntHvArray(hvArray* values) const;

    // Data of the block diagram companion, whose words have up to 128 bits. The feature s_feature_fi_33plus_memory_
    // footprint selects the form of words of more than 32 bits: sign-extended in their natural chunks, or in four
    // chunks with bits above the word 0. Smaller words are the integers of getIntHvArray.

    /// Return a new host array; for wider words, as much as possible after a warning.
    hvArray* getDravelinIntArray() const;
    hvArray* getDravelinArray() const { return getDravelinIntArray(); }
    /// As above, in four chunks whatever the feature; null after the warning.
    hvArray* getDravelinArray32MemoryFootPrint() const;
    /// Stores arrays in the form of getDravelinIntArray, and with the feature also uint64 and int64 words. Raises
    /// "fixedpoint:fi:intarray:invaliddatatype" for types that aren't fixed unless the array is double or single,
    /// "fixedpoint:fi:dravelinarray:TooBigWordLength", "fixedpoint:fi:intarray:not_32or64BitInt", and as setIntArray.
    void setDravelinIntArray(const hvArray* values);
    /// Copies the data of getDravelinIntArray into the buffer, or into a new one from bsCalloc that the caller owns,
    /// and returns it; for a complex array, the real and then the imaginary words of each element. Logical data is not
    /// copied.
    void* createDVArray(void* buffer) const;
    /// Stores the words of such a buffer as they are: all elements, or one element at the current index. Raises
    /// "fixedpoint:fi:setDVArray:DataTypeNotSupported" unless the type is fixed.
    void setFromDVArray(const void* buffer, bool wholeArray);
    /// As above, for words of more than 32 bits. Each work area holds the words of one part.
    void setDVArrayFunGT32(std::uint32_t* re, std::uint32_t* im, const void* buffer, bool wholeArray);
    /// As convertIntArrayToFiArray with four chunks in the first dimension; the second form destroys the array.
    static hvArray* convertDravelinIntArrayToFiArray(const hvArray* values, bool isSigned, int wordLength,
                                                     int fractionLength);
    static hvArray* convertDravelinIntArrayToFiArraySteal(hvArray* values, bool isSigned, int wordLength,
                                                          int fractionLength);
    /// Always raises "fixedpoint:fi:convertDravelinIntArrayToFiArray:NotDone".
    [[noreturn]] static hvArray* convertDravelinIntArrayToFiArray();

    // Factors between types with slope and bias. Each is computed once for its key of types and cached.

    /// On the target of an assignment; recomputed only if the source's type changes.
    void initSlopeBiasCorrectionFactorsForEquals(const fi& source) const;
    /// On the left operand of a sum or difference.
    void initSlopeBiasCorrectionFactorsForPlus(const fi& b, const fi& result) const;
    bool needToInitSlopeBiasCorrectionFactorsForPlus(const fi& b, const fi& result) const;
    /// On the left operand of a product without biases, for the net slope (factor of a * factor of b) / factor of the
    /// result.
    void initSlopeCorrectionFactorForTimes(double netSlope, const fi& result) const;
    /// On the left operand of a product with a bias: makes two binary point scalars to which the operands are
    /// converted, the left one with a product register that holds any of their products. They are made again only if an
    /// operand's type changes, not if the rules change. Raises as errorIfMathMismatch, and
    /// "fixedpoint:quantizer:wordlengthtoobig" for words of more than 65535 bits together; the previous ones remain.
    void initParamsForWorstCaseSlopeBiasTimes(const fi& b) const;

 protected:
    /// Makes a view: shares the entries of the source, with cursors of its own, and its quantizer.
    fi(const fi& source, embedded::CopyIndex tag);
    /// Shares the root's current imaginary entries; keeps the cursor.
    void shareImagOf(const fi& root) const;
    /// Makes this view the same as another in elements, current index, size, type, rules and quantizer.
    void takeView(const fi& view);

    /// Sets the type; Auto counts as signed. Double and single drop the local rules. Entries keep value and precision.
    void setNumericType(const NumericType& type);
    /// As setNumericType; unspecified scaling takes the best precision for the entries, and these are resized to the
    /// word length.
    void setNumericTypeFromOutside(const NumericType& type);
    /// Returns a private one-element copy of the current element, valid until the next call of this or of an
    /// adjusted read.
    fi& getElement() const;
    /// As getElement, on the scale of the other's type; this object itself when the scales are the same.
    const fi& getAdjustedElement(const fi& other) const;
    /// Returns the sum register with its current element cleared, made from the sum fields if there is none.
    fi& getSumRegister() const;
    const quantizer& getSumQuantizer() const { return getSumRegister().getAssignmentQuantizer(); }

    /// Return the product register with its current element cleared. Without one, made from the product fields; for
    /// another type or other rules than the given ones, made again from those rules.
    fi& getProductRegister() const;
    fi& getProductRegister(const fi& b) const;
    fi& getProductRegister(const NumericType& type, const fimath& rules) const;
    const quantizer& getProductQuantizer() const { return getProductRegister().getAssignmentQuantizer(); }

    double getBnetForEquals() const;
    double getFsxForEquals() const;
    double getBnetForSlopeBiasPlus() const;
    double getBnetForSlopeBiasMinus() const;
    double getFsaForPlus() const;
    double getFsbForPlus() const;
    double getFscForTimes() const;
    /// Return the operands made by initParamsForWorstCaseSlopeBiasTimes, valid until it makes others.
    fi& getAForSlopeBiasTimes() const;
    fi& getBForSlopeBiasTimes() const;

    /// The root's quantizer for a view, otherwise the object's own.
    const quantizer* mAssignmentQuantizerRef = &mAssignmentQuantizer;

 private:
    // The binding sets the type from outside as the host does.
    friend class FiOMClass;

    using Dimensions = tolvane::detail::Dimensions;
    struct Logs;
    struct LateProduct;
    struct Caches;
    struct ElementMoves;
    class ArrayStores;
    class WideStores;
    class Assignment;
    class SideStores;

    // The common parts of the constructors; they make stored zeros, and raise before they have any. A local object
    // keeps a copy of the rules, if there are any. `unset` leaves entries uninitialised; store all before reading any.
    enum class Entries { zero, unset };
    fi(Dimensions dims, const NumericType& type, const fimath* rules, bool isComplex, const std::string& tag,
       bool isLocal, embedded::OperationTypeEnum operation, unsigned precision, Entries entries);
    fi(Dimensions dims, const NumericType& type, const fimath* rules, bool isComplex, const quantizer& source,
       bool isLocal, Entries entries);
    /// Compares current elements, one of which has a type with slope and bias.
    bool equalsAcrossScales(const fi& b) const;
    /// Whether a store of an element of the same type is one operation in the log; a scaled double is quantized, too.
    bool logsEachStoreOnce() const;
    template <class Extreme>
    fi& extremeWith(const fi& b) const;
    template <class Extreme>
    std::unique_ptr<fi> extremesOfColumns(double* rows) const;
    /// The sizes of an array with one element for each column.
    Dimensions sizesOfColumns() const;
    /// The common last step of the constructors that copy a part of another array.
    void finishCopy(const fi& source);
    bool isView() const { return mAssignmentQuantizerRef != &mAssignmentQuantizer; }
    /// Whether the two may share elements.
    bool sharesElementsOf(const fi& other) const { return mReal.sharesArrayOf(other.mReal); }
    /// The position of the first element among the entries; nonzero only for views.
    std::uint64_t firstPlace() const;
    /// As the copy, without registers.
    enum class WithoutRegisters { tag };
    fi(const fi& source, WithoutRegisters tag);
    /// As the copy of a real array in doubles that isn't a view, with uninitialised entries; store all before reading
    /// any.
    enum class WithoutEntries { tag };
    fi(const fi& source, WithoutEntries tag);
    bool isRealInDoubles() const;
    void copyRegisters(const fi& source);
    /// A copy that shares no element and leaves no log; used to read all elements of a view.
    std::unique_ptr<const fi> detached() const;
    /// Copies one part of an array; for a view, the elements that it covers.
    static number copyOf(const fi& array, const number& part);
    /// The whole imaginary part; for a view, updated to its root's.
    const number& imagPart() const;
    void errorIfComplexSlopeBias(bool isComplex) const;
    // Check, store and quantize real-world values: as many as there are elements, or one for all of them. Arrays set
    // the default precision of numbers.
    enum class DefaultPrecision { stays, isSet };
    template <class T>
    void storeQuantized(number& target, const T* values, std::uint64_t valueCount);
    void fillFromReal(const double* re, std::uint64_t valueCount, DefaultPrecision defaultPrecision);
    void fillFromComplex(const double* re, const double* im, std::uint64_t valueCount);
    void quantizeInBlocks(std::span<const double> values, std::span<double> entries, std::size_t blockSize);
    void setDefaultPrecision() const;
    /// Raises for host values that an array of this type can't take.
    void checkHostValues(const hvArray* values) const;
    /// Checks and stores the data of a host array and quantizes it by the given modes.
    void fillFromHost(const hvArray* values, embedded::RoundModeEnum round, embedded::OverflowModeEnum overflow);
    /// Sets size and complexity for values that will be stored. Raises "fixedpoint:fi:nocomplexslopebias" before any
    /// change.
    void takeShape(Dimensions dims, bool isComplex);
    /// setIntHvArray for arrays of every class.
    void storeIntegers(const hvArray* values);
    /// Whether words are fixed and longer than a chunk.
    bool isChunked() const { return isFixed() && getWordLength() > 32; }
    int chunkCount(IntArrayChunkMode chunks) const { return chunks == IntArrayChunkMode::AlwaysFour ? 4 : numChunks(); }
    void clearBitsAboveWords(std::span<std::uint32_t> words) const;
    template <class Word>
    void storeWords(const void* buffer, bool wholeArray);
    /// Sets a register's current element to zero and returns it.
    static fi& cleared(fi& reg);
    /// The product register, or null. One that waits (fi/result_types/late_product.h) is made.
    fi* productRegister() const {
        if (mLateProduct) [[unlikely]] {
            makeLateProduct();
        }
        return mProductRegister.get();
    }
    void makeLateProduct() const;

    // The element step of sums: `tmp` holds the element, this object receives it; the short forms make the temporary.
    void sumEquals(const fi& a, const fi& b, fi& tmp);
    void sumEquals(const fi& a, const fi& b, fi& tmp, number& scratch);
    void diffEquals(const fi& a, const fi& b, fi& tmp);
    void diffEquals(const fi& a, const fi& b, fi& tmp, number& scratch);
    // Sum and difference, written once; `Operation` combines with the right operand (fi/ops/sum.cpp).
    template <class Operation>
    fi& combineArrays(const fi& b) const;
    template <class Operation>
    void combineElements(const fi& a, const fi& b, fi& tmp, number& scratch);
    template <class Operation>
    static void combineSlopeBias(const fi& a, const fi& b, fi& tmp, const quantizer& q);
    /// What only few arrays need, made on first use.
    Caches& caches() const;
    double computeSAFCorrection(double denominator, double numerator, const fi& reference) const;

    // The element step of products, on this object, which holds the left value. The complex form takes two work cells.
    fi& timesEquals(const fi& b, const quantizer& productQ, const quantizer& sumQ, unsigned precision);
    fi& complexTimesEquals(const fi& b, const quantizer& productQ, const quantizer& sumQ, number& t1, number& t2);
    /// Multiplies arrays in doubles while the product register waits; false, and nothing done, where that can't be.
    bool multiplyWithoutRegister(const fi& b, const tolvane::detail::broadcasting& operands, fi& result,
                                 const std::function<void(std::uint64_t, std::uint64_t)>& byElements) const;
    /// The product of current elements where a type or the rules have slope and bias.
    fi& multiplySlopeBias(const fi& b) const;
    void sqrtErrorMessage(const NumericType& type) const;
    /// Stores the roots of all elements in `roots`, which holds zeros of a fixed-point type with local rules.
    void bisectRoots(fi& roots) const;

    /// Makes a row of stored values of this type, by its rules.
    std::unique_ptr<fi> constants(std::initializer_list<const number*> values) const;

    // Subscripts.
    /// The object in a host value, null for any other value.
    static const fi* objectIn(const hvArray* value);
    class IndexStep;
    /// What the host's own subscripts name, read here if possible.
    std::unique_ptr<tolvane::detail::Selection> selectionBy(const IndexStep& step) const;
    std::unique_ptr<tolvane::detail::Selection> deletionBy(const IndexStep& step) const;
    std::unique_ptr<tolvane::detail::Selection> selectionByPlan(hvArrayOwner plan) const;
    std::unique_ptr<Assignment> assignmentBy(const IndexStep& step, std::span<const std::uint64_t> rightDims) const;
    hvArray* subsasgnScalarIndexing(hvArray* self, const IndexStep& step, const hvArray* right, double position);
    hvArray* subsasgnGeneralIndexing(hvArray* self, const IndexStep& step, const hvArray* right);
    /// Stores the one element of a host array through the quantizer.
    void storeScalar(const hvArray* value, std::uint64_t place);
    /// A new array of selected elements; the second sets its quantizer by the rules in force.
    std::unique_ptr<fi> taken(const tolvane::detail::Selection& selection) const;
    std::unique_ptr<fi> reference(const tolvane::detail::Selection& selection) const;
    /// Whether assigning elements of the source copies their values and does nothing else.
    bool movesWithoutTrace(const fi& source) const;
    void overwrite(const Assignment& assignment, const fi& right);
    void overwrite(const Assignment& assignment, const hvArray* right);
    std::unique_ptr<fi> grown(const Assignment& assignment, const fi& right) const;
    hvArray* grown(const Assignment& assignment, const hvArray* right) const;
    /// Carries out the moves; if `left` is null, elements that come from the left side stay unchanged.
    void put(const Assignment& assignment, const fi* left, const fi& right);
    void putElement(const fi& source, std::uint64_t from, std::uint64_t place);
    /// A host array as an array of this type and these rules.
    fi fromRightSide(const hvArray* right) const;
    /// Adds the counts from the conversion of a right side; not for scaled doubles, which are counted when they move.
    void addConversionLog(const fi& converted) const;
    void errorIfComplexOntoSlopeBias(const fi& right) const;

    /// The imaginary entry at the current index of the real part, of a complex object.
    number& imagEntry() {
        imagEntries().setIndex(mReal.getIndex());
        return *mImag;
    }
    /// All imaginary entries. A real array has none, and no body for them until somebody asks.
    number& imagEntries() const {
        if (!mImag) [[unlikely]] {
            mImag.emplace(0, mReal.getprecision(), embedded::NumberVector::tag);
        }
        return *mImag;
    }
    /// Makes imaginary entries of that precision, if there are to be any.
    void makeImag(std::uint64_t count, unsigned precision, const NumericType& type, Entries entries);
    /// Copies the imaginary entries of another array.
    void copyImag(const fi& source);
    /// Makes the type the object's own and sets the quantizer by the rules in force; an error changes nothing.
    void applyNumericType(const NumericType& type);
    /// Removes local rules from a double or single object.
    void dropFimathOfFloat();
    // Bring both parts, or one, to the element count. An error leaves both as they were.
    void resizeEntries(std::uint64_t count, unsigned precision, bool isComplex);
    void resizePart(number& part, std::uint64_t count, unsigned precision);
    /// The precision of entries of the word length; the default precision for a type without one.
    unsigned wordPrecision() const;
    /// The stored value of real-world zero before it is quantized.
    double storedZero() const;
    void logEqualType(number& entry, const quantizer& q) const;
    void assignEqualType(const fi& source, const quantizer& q);
    void assignSlopeBias(const fi& source, const quantizer& q);
    void assignNarrower(const fi& source, const quantizer& q);

    mutable quantizer mAssignmentQuantizer;
    number mReal;
    mutable std::optional<number> mImag;  // by imagEntries; shared anew by views. Copying it would copy one entry.
    Dimensions mDims;
    std::unique_ptr<fimath> mFimath;
    mutable std::unique_ptr<fi> mSumRegister;
    mutable std::unique_ptr<fi> mProductRegister;
    mutable std::unique_ptr<LateProduct> mLateProduct;
    mutable std::unique_ptr<Caches> mCaches;
    mutable std::unique_ptr<NumericType> mAddOpType;
    mutable std::unique_ptr<NumericType> mMpyOpType;
    bool mIsReal = true;
    bool mIsAutoScaled = false;
    bool mDataSetByPVPair = false;
    bool mFimathIsLocal = false;
    PropertyEnum mLastPropertySet = PropertyEnum::None;
    std::uint64_t mNumel = 0;
    std::uint64_t mM = 0;
    std::uint64_t mN = 0;

    static const char* const sVelmarClassName;
};
