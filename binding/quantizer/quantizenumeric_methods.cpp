#include "binding/quantizer/methods.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include "binding/frame/enum_columns.h"
#include "quantization/format_numbers.h"
#include "quantization/quantize_numeric.h"
#include "quantization/quantizer.h"

using namespace tolvane::detail;

namespace {

using datatypes::kArray;
using EmbeddedTypeSystem::NumericType;

constexpr SignatureColumn kWordSignatures[] = {
    takes(kArray, kArray, kArray, kArray, datatypes::kRoundMode).to(kArray),
    takes(kArray, kArray, kArray, kArray, datatypes::kRoundMode, datatypes::kOverflowMode).to(kArray),
    takes(kArray, kArray, kArray, kArray, datatypes::kRoundMode, datatypes::kOverflowMode, kArray).to(kArray),
};
constexpr SignatureColumn kQuantizerSignatures[] = {takes(datatypes::kHandle, kArray).to(kArray)};

bool signArgument(const hvArray* value) {
    if (hvIsLogical(value)) {
        return !hvIsEmpty(value) && hvGetTypedData<hvLogical>(value).front() != 0;
    }
    return hvGetScalar(value) != 0.0;
}

/// The real data of an array of a class other than double, as the doubles that its bytes make.
std::vector<double> bytesAsDoubles(const hvArray* values) {
    std::vector<double> result(hvGetNumberOfElements(values));
    if (const void* const data = hvGetData(values)) {
        const std::size_t bytes = result.size() * std::min(hvGetElementSize(values), sizeof(double));
        std::memcpy(result.data(), data, bytes);
    }
    return result;
}

void quantizeByObject(const MethodCall& call) {
    call.give(quantizeNumeric(call.objectInHandle<quantizer>(0), call.array(1)));
}

}  // namespace

FiStaticQuantizenumeric::FiStaticQuantizenumeric(const char* name) : OMMethodInfo(0) {
    setName(name, true);
    setStatic(true);
    for (const SignatureColumn& signature : kWordSignatures) {
        addMethodSignature(signature.make());
    }
}

void FiStaticQuantizenumeric::invokeMethod(OMMethodSignature* /*signature*/, int* resultCount, void** results,
                                           int argumentCount, void** arguments) {
    const MethodCall call{0, resultCount, results, argumentCount, arguments};
    const hvArray* const values = call.array(0);
    const NumericType type(signArgument(call.array(1)), formatnumbers::toInt(hvGetScalar(call.array(2))),
                           formatnumbers::toInt(hvGetScalar(call.array(3))));
    const auto round = Shape<embedded::RoundModeEnum>::unbox(arguments[4]);
    const auto overflow = argumentCount > 5 ? Shape<embedded::OverflowModeEnum>::unbox(arguments[5])
                                            : embedded::OverflowModeEnum::Saturate;
    const bool isParallel = argumentCount > 6 ? hvGetScalar(call.array(6)) != 0.0 : mIsParallel;

    hvArrayOwner result(hvCreateDoubleMatrix(hvGetM(values), hvGetN(values)));
    std::vector<double> bytes;
    std::span<const double> in;
    if (hvIsDouble(values)) {
        in = hvGetTypedData<double>(values);
    } else {
        bytes = bytesAsDoubles(values);
        in = bytes;
    }
    quantizeThroughWords(in, hvGetTypedData<double>(result.get()), type, round, overflow, isParallel);
    mIsParallel = isParallel;
    call.give(result.release());
}

QuantizerQuantizeNumericMI::QuantizerQuantizeNumericMI(const char* name)
    : PlainMethodInfo(name, kQuantizerSignatures, quantizeByObject) {}
