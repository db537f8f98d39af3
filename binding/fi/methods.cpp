// The methods of class "fi".
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <utility>

#include "binding/fi/FiOMClass.h"
#include "binding/fi/binary_methods.h"
#include "binding/fi/methods.h"
#include "binding/fi/new_fi.h"
#include "binding/fi/tables.h"
#include "binding/fimath/FimathOMClass.h"
#include "binding/frame/EmbeddedFiSetMethodInfo.h"
#include "binding/frame/methods.h"
#include "binding/logs/QloggerOMClass.h"
#include "binding/numerictype/NumericTypeOMClass.h"
#include "binding/quantizer/methods.h"
#include "host/ErrorIdException.h"
#include "logging/reports.h"

namespace tolvane::detail {

namespace {

using datatypes::kArray;
using EmbeddedTypeSystem::NumericType;

constexpr DataTypeColumn kFiHandle = datatypes::kObject<fi>;

constexpr SignatureColumn kFiToFi[] = {takes(kFiHandle).to(kFiHandle)};
constexpr SignatureColumn kFiAndTypeToFi[] = {takes(kFiHandle, datatypes::kObject<NumericType>).to(kFiHandle)};
constexpr SignatureColumn kFiToType[] = {takes(kFiHandle).to(datatypes::kObject<NumericType>)};
constexpr SignatureColumn kFiToRules[] = {takes(kFiHandle).to(datatypes::kObject<fimath>)};
constexpr SignatureColumn kFiAndArrayToLog[] = {takes(kFiHandle, kArray).to(datatypes::kObject<qlogger>)};
constexpr SignatureColumn kFiAndFiToNothing[] = {takes(kFiHandle, kFiHandle)};
constexpr SignatureColumn kNothingToArray[] = {takes().to(kArray)};
constexpr SignatureColumn kArrays[] = {takes(kArray, kArray).to(kArray), takes(kArray, kArray, kArray).to(kArray)};

// Questions

bool isFi(const fi& /*object*/) {
    return true;
}
template <fi::ScalingEnum scaling>
bool hasScaling(const fi& object) {
    return object.getScaling() == scaling;
}
int lastPropertySet(const fi& object) {
    return static_cast<int>(object.getLastPropertySet());
}
/// Readers never see the mark, as in the property of the same name.
bool isAutoScaled(const fi& /*object*/) {
    return false;
}
void displayGlobalLog(const fi& /*object*/) {
    fi::displayGlobalLog();
}
void resetGlobalLog(const fi& /*object*/) {
    fi::resetGlobalLog();
}

// Others

[[noreturn]] void raiseForLoop(const MethodCall& /*call*/) {
    raiseError("fixedpoint:fi:ForLoopIndexingNotSupported",
               "FOR loop iteration over embedded.fi objects is not supported. Consider rewriting the loop to use an "
               "independent index variable to access the data in the embedded.fi object.");
}

[[noreturn]] void raiseColon(const MethodCall& /*call*/) {
    raiseError("fixedpoint:fi:colon:NotDefined", "COLON is not defined for input arguments of type 'embedded.fi'.");
}

void copy(const MethodCall& call) {
    call.give(FiOMClass::wrap(std::make_unique<fi>(call.object<fi>(0))));
}

void reinterpretCast(const MethodCall& call) {
    giveFi(call, owned(call.object<fi>(0).reinterpretcast(call.object<NumericType>(1))));
}

void copyType(const MethodCall& call) {
    call.give(NumericTypeOMClass::wrap(std::make_unique<NumericType>(call.object<fi>(0).getNumericType())));
}

void copyRules(const MethodCall& call) {
    call.give(FimathOMClass::wrap(std::make_unique<fimath>(call.object<fi>(0).getFimath())));
}

void copyData(const MethodCall& call) {
    fi& target = call.object<fi>(0);
    const fi& source = call.object<fi>(1);
    target.errorIfBadSource(source);
    target.copydata(source);
    reports::reportAssignmentWithTotal(target.getQlogger(), fi::getAssignlog());
    call.giveNothing();
}

void copyLog(const MethodCall& call) {
    const fi& object = call.object<fi>(0);
    const double given = hvGetScalar(call.array(1));
    const double selector = std::trunc(given);
    const qlogger* log = nullptr;
    if (selector == 0.0) {
        log = &object.getQlogger();
    } else if (selector == 1.0 && object.isSumRegisterInitialized()) {
        log = &object.getsumQlogger();
    } else if (selector == 2.0 && object.isProductRegisterInitialized()) {
        log = &object.getproductQlogger();
    }
    // A copy for the user: it must not be counted again in the log map when it is destroyed.
    call.give(QloggerOMClass::wrap(log == nullptr ? std::make_unique<qlogger>(false)
                                                  : std::make_unique<qlogger>(*log, false)));
}

/// Processes of any word size give the same answer. Sums along the first dimension and reports overflows of the sums.
void giveLeadingDimensionSum(const MethodCall& call) {
    giveReported(call, owned(call.object<fi>(0).leadingdimension_sum()), "sum");
}
void is64BitPlatform(const MethodCall& call) {
    call.give(hvCreateLogicalScalar(false));
}

constexpr char kLabel[] = "FI";

// "size"

/// Any number of results. More than one dimension number is accepted, so that the method refuses them itself.
class FiSizeSignature : public OMMethodSignature {
 public:
    int getNumberOfReturnArgs() const override { return -1; }
    OMDataType* getReturnType(int /*index*/) const override { return kArray.find(); }
};

class FiSizeMethodInfo : public OMMethodInfo {
 public:
    explicit FiSizeMethodInfo(const char* name) : OMMethodInfo(0) {
        setName(name, true);
        for (const SignatureColumn& column : {takes(kFiHandle), takes(kFiHandle, kArray)}) {
            auto signature = std::make_unique<FiSizeSignature>();
            column.addTo(*signature);
            addMethodSignature(std::move(signature));
        }
        getMethodSignatures().back()->setNumberOfRepeatableArgs(1);
    }
    void invokeMethod(OMMethodSignature* /*signature*/, int* resultCount, void** results, int argumentCount,
                      void** arguments) override {
        const MethodCall call{0, resultCount, results, argumentCount, arguments};
        if (argumentCount > 2) {
            raiseError("fixedpoint:fi:size:tooManyInputs", "Too many input arguments.");
        }
        if (argumentCount == 2) {
            giveOne(call);
        } else if (call.wantedResults() == 1) {
            giveRow(call);
        } else {
            giveEach(call);
        }
    }

 private:
    static void giveOne(const MethodCall& call) {
        if (call.wantedResults() > 1) {
            raiseError("fixedpoint:fi:size:tooManyOutputs", "Too many output arguments.");
        }
        call.give(hvCreateDoubleScalar(static_cast<double>(call.object<fi>(0).getDimension(dimension(call.array(1))))));
    }
    static void giveRow(const MethodCall& call) {
        const auto dims = call.object<fi>(0).dimensions();
        hvArray* const row = hvCreateDoubleMatrix(1, dims.size());
        for (std::size_t i = 0; i < dims.size(); ++i) {
            hvGetPr(row)[i] = static_cast<double>(dims[i]);
        }
        call.give(row);
    }
    /// The last result combines all remaining dimensions.
    static void giveEach(const MethodCall& call) {
        const auto dims = call.object<fi>(0).dimensions();
        const auto wanted = static_cast<std::size_t>(call.wantedResults());
        std::vector<hvArrayOwner> sizes;
        for (std::size_t i = 0; i < wanted; ++i) {
            std::uint64_t size = i < dims.size() ? dims[i] : 1;
            for (std::size_t rest = i + 1; i + 1 == wanted && rest < dims.size(); ++rest) {
                size *= dims[rest];
            }
            sizes.emplace_back(hvCreateDoubleScalar(static_cast<double>(size)));
        }
        for (std::size_t i = 0; i < wanted; ++i) {
            call.results[i] = sizes[i].release();
        }
        *call.resultCount = static_cast<int>(wanted);
    }
    static std::uint64_t dimension(const hvArray* value) {
        const double given = hvIsNumeric(value) && hvIsScalar(value) && !hvIsComplex(value) ? hvGetScalar(value) : 0.0;
        if (!(given >= 1.0 && given <= static_cast<double>(std::numeric_limits<int>::max()) &&
              given == std::floor(given))) {
            raiseError("fixedpoint:fi:size:dimensionMustBePositiveInteger",
                       "Dimension argument must be a positive integer scalar within indexing range.");
        }
        return static_cast<std::uint64_t>(given);
    }
};

template <auto question>
std::unique_ptr<OMMethodInfo> asked(const char* name) {
    return unary<fi, question>(name);
}
template <auto operation>
std::unique_ptr<OMMethodInfo> making(const char* name) {
    return plain<kFiToFi, giveNewFi<operation>>(name);
}

// Name, how its record is made.
constexpr MethodRow kFiMethods[] = {
    {"_colonobj", plainOnAny<kArrays, raiseForLoop>},
    {"colon", plainOnAny<kArrays, raiseColon>},
    {"numberofelements", asked<&fi::numel>},
    {"isfi", asked<isFi>},
    {"isdouble", asked<&fi::isDouble>},
    {"issingle", asked<&fi::isSingle>},
    {"isboolean", asked<&fi::isBoolean>},
    {"isfloat", asked<&fi::isFloat>},
    {"isfixed", asked<&fi::isFixed>},
    {"isscalingbinarypoint", asked<hasScaling<fi::ScalingEnum::BinaryPoint>>},
    {"isscalingslopebias", asked<hasScaling<fi::ScalingEnum::SlopeBias>>},
    {"isscalingunspecified", asked<hasScaling<fi::ScalingEnum::Unspecified>>},
    {"isscaledtype", asked<&fi::isScaledType>},
    {"isscaleddouble", asked<&fi::isScaledDouble>},
    {"isempty", asked<&fi::isempty>},
    {"isscalar", asked<&fi::isscalar>},
    {"iscolumn", asked<&fi::iscolumn>},
    {"isrow", asked<&fi::isrow>},
    {"isvector", asked<&fi::isvector>},
    {"isreal", asked<&fi::isreal>},
    {"length", asked<&fi::length>},
    {"ndims", asked<&fi::ndims>},
    {"size", record<FiSizeMethodInfo>},
    {"fi_reshape", plain<kFiAndSizesToFi, giveReshaped>},
    {"squeeze", making<&fi::squeeze>},
    {"transpose", making<&fi::transpose>},
    {"ctranspose", plain<kFiToFi, giveConjugateTranspose>},
    {"stripscaling", making<&fi::stripscaling>},
    {"reinterpretcast", plain<kFiAndTypeToFi, reinterpretCast>},
    {"copy", plain<kFiToFi, copy>},
    {"maxlog", asked<&fi::getMaxLogAsRealWorldValue>},
    {"minlog", asked<&fi::getMinLogAsRealWorldValue>},
    {"noverflows", asked<&fi::getNoverflows>},
    {"nunderflows", asked<&fi::getNunderflows>},
    {"noperations", asked<&fi::getNoperations>},
    {"nmathoperations", asked<&fi::getNmathoperations>},
    {"getqloggerstruct", plain<kFiAndArrayToLog, copyLog>},
    {"numerictype", plain<kFiToType, copyType>},
    {"fimath", plain<kFiToRules, copyRules>},
    {"bin", asked<getDigits<2>>},
    {"oct", asked<getDigits<8>>},
    {"dec", asked<getDigits<10>>},
    {"hex", asked<getDigits<16>>},
    {"data", asked<&fi::getDoubleHvArray>},
    {"double", asked<&fi::getDoubleHvArray>},
    {"single", asked<&fi::getSingleHvArray>},
    {"int", asked<&fi::getIntHvArray>},
    {"intarray", plain<kFiToIntArray, giveIntArray>},
    {"dravelinarray", asked<&fi::getDravelinIntArray>},
    {"real", making<&fi::getRealFi>},
    {"imag", making<&fi::getImagFi>},
    {"realmax", making<&fi::realmax>},
    {"realmin", making<&fi::realmin>},
    {"fieps", making<&fi::eps>},
    {"intmax", making<&fi::intmax>},
    {"intmin", making<&fi::intmin>},
    {"lowerbound", making<&fi::lowerbound>},
    {"upperbound", making<&fi::upperbound>},
    {"range", plain<kFiToRange, giveRange>},
    {"uminus", plain<kFiToFi, negate>},
    {"conj", plain<kFiToFi, conjugate>},
    {"pow2", plain<kPow2Signatures, scaleByPowerOfTwo>},
    {"bitshift", plain<kBitshiftSignatures, shiftBits>},
    {"bitcmp", making<&fi::bitcmp>},
    {"bitand", record<FiBitwiseMethodInfo<&fi::fibitand>>},
    {"bitor", record<FiBitwiseMethodInfo<&fi::fibitor>>},
    {"bitxor", record<FiBitwiseMethodInfo<&fi::bitxor>>},
    {"bitget", plain<kBitgetSignatures, getBits>},
    {"bitset", plain<kBitsetSignatures, setBits>},
    {"stridesort", plain<kFiToSorted, giveSorted>},
    {"stridesort2", plain<kFiToSortedWithPlaces, giveSortedWithPlaces>},
    {"leadingdimension_sum", plain<kFiToFi, giveLeadingDimensionSum>},
    {"plus", record<FiPlusMethodInfo>},
    {"minus", record<FiMinusMethodInfo>},
    {"times", record<FiTimesMethodInfo>},
    {"mtimes", record<FiMtimesMethodInfo>},
    {"convF", record<FiConvFMethodInfo>},
    {"convS", record<FiConvSMethodInfo>},
    {"convV", record<FiConvVMethodInfo>},
    {"get_element", plain<kElementToFi, giveElement>},
    {"set_element", plain<kElementAndValue, setElement>},
    {"binaryop_complex", record<FiComplexMethodInfo>},
    {"binary_max", record<FiMaxMethodInfo>},
    {"binary_min", record<FiMinMethodInfo>},
    {"unary_max", plain<kFiToExtremes, giveExtremes<kMaxOperation>>},
    {"unary_min", plain<kFiToExtremes, giveExtremes<kMinOperation>>},
    {"eq", record<FiComparisonMethodInfo<&fi::eq>>},
    {"ge", record<FiComparisonMethodInfo<&fi::ge>>},
    {"gt", record<FiComparisonMethodInfo<&fi::gt>>},
    {"le", record<FiComparisonMethodInfo<&fi::le>>},
    {"lt", record<FiComparisonMethodInfo<&fi::lt>>},
    {"ne", record<FiComparisonMethodInfo<&fi::ne>>},
    {"sign", asked<&fi::sign>},
    {"binaryop_isequal", record<FiComparisonMethodInfo<&fi::isequal>>},
    {"diag", plain<kFiAndDiagonalToFi, giveDiagonal>},
    {"tril", plain<kFiAndDiagonalToFi, giveLowerTriangle>},
    {"triu", plain<kFiAndDiagonalToFi, giveUpperTriangle>},
    {"toeplitz", record<FiTwoVectorMethodInfo<&fi::toeplitz>>},
    {"hankel", record<FiTwoVectorMethodInfo<&fi::hankel>>},
    {"subsref", plain<kFiAndArrayToArray, subscript>},
    {"subsasgn", plain<kThreeArraysToArray, subscriptAndAssign>},
    {"subscriptedreference", plain<kFiAndPlanToFi, takeByPlan>},
    {"subscriptedgrowassignment", plain<kFiPlanAndFiToFi, growByPlan>},
    {"num2sdec", asked<&fi::num2sdec>},
    {"num2base", plain<kFiAndBaseToText, writeInBase>},
    {"base2num", plain<kFiTextAndBase, readInBase>},
    {"num2sdec", asked<&fi::num2sdec>},
    {"copydata", plain<kFiAndFiToNothing, copyData>},
    {"displaygloballog", asked<displayGlobalLog>},
    {"resetgloballog", asked<resetGlobalLog>},
    {"resetlogging", asked<&fi::resetLogging>},
    {"resetlog", asked<&fi::resetLogging>},
    {"isautoscaled", asked<isAutoScaled>},
    {"datasetbypvpair", asked<&fi::getDataSetByPVPair>},
    {"LastPropertySet", asked<lastPropertySet>},
    {"isfimathlocal", asked<&fi::getFimathIsLocal>},
    {"consolidatelocalfilogs", asked<&fi::consolidatelocalfilogs>},
    {"realabs", plain<kFiToFiByTypeAndRules, giveRealAbs>},
    {"sqrt", plain<kFiToFiByTypeAndRules, giveSqrt>},
    {"Is64BitPlatform", plainStatic<kNothingToArray, is64BitPlatform>},
    {"simfi", plainStatic<kTypeAndArrayToFi, giveSimFi>},
    {"GetNumericTypeForMatrixTimes", plainStatic<kMatrixTypesToType, giveTypeForMatrixTimes>},
    {"GetNumericTypeForPlus", plainStatic<kTwoTypesAndRulesToType, giveTypeForPlus>},
    {"GetNumericTypeForSum", plainStatic<kSummedTypesToType, giveTypeForSum>},
    {"GetNumericTypeForTimes", plainStatic<kTwoTypesAndRulesToType, giveTypeForTimes>},
    {"GetBestPrecisionForHvArray", plainStatic<kTypeAndArrayToType, giveBestPrecision>},
    {"set", setOf<kLabel>},
    {"quantizenumeric", record<FiStaticQuantizenumeric>},
};

}  // namespace

void addFiMethods(OMClass& objectClass) {
    addMethods(objectClass, kFiMethods);
}

}  // namespace tolvane::detail
