#include "binding/fi/FiBinaryOperation.h"

#include <string>
#include <utility>

#include "binding/fi/FiOMClass.h"
#include "binding/frame/shapes.h"
#include "host/ErrorIdException.h"
#include "logging/reports.h"

using namespace tolvane::detail;

namespace {

constexpr PartnerRule kSameTag{.hasBestPrecision = true, .keepsTag = true, .isAlwaysLocal = false};
constexpr PartnerRule kSameType{.hasBestPrecision = false, .keepsTag = false, .isAlwaysLocal = false};
constexpr PartnerRule kOwnRules{.hasBestPrecision = true, .keepsTag = false, .isAlwaysLocal = true};

[[noreturn]] void raiseNoSignature() {
    raiseError("fixedpoint:fi:binaryop:signaturenotfound", "Signature not found.");
}

const char* dataTypeText(fi::DataTypeEnum dataType) {
    switch (dataType) {
        case fi::DataTypeEnum::Boolean:
            return "boolean";
        case fi::DataTypeEnum::Double:
            return "double";
        case fi::DataTypeEnum::Single:
            return "single";
        case fi::DataTypeEnum::ScaledDouble:
            return "ScaledDouble";
        default:
            return "Fixed";
    }
}

std::unique_ptr<fi> emptyPartner(const fi& other) {
    return std::make_unique<fi>(0, 0, other.getNumericType(), other.getFimath(), other.iscomplex(), other.getTag(),
                                true, embedded::OperationTypeEnum::Assignment, 0);
}

}  // namespace

std::unique_ptr<fi> tolvane::detail::partnerFrom(const hvArray* values, const fi& other, const PartnerRule& rule) {
    EmbeddedTypeSystem::NumericType type(other.getNumericType());
    if (rule.hasBestPrecision) {
        type.setBestPrecision(values);
    }
    return std::make_unique<fi>(values, type, other.getFimath(), rule.keepsTag ? other.getTag() : std::string(),
                                rule.isAlwaysLocal || other.getFimathIsLocal(),
                                embedded::OperationTypeEnum::Assignment);
}

FiBinaryOperation::FiBinaryOperation(const char* name) : OMMethodInfo(0) {
    setName(name, true);
    setDispatchedOnFirstArgument(false);
}

void FiBinaryOperation::addSignatures(OMDataType* result) {
    OMDataType* const object = datatypes::kObject<fi>.find();
    OMDataType* const array = datatypes::kArray.find();
    const auto add = [&](OMDataType* a, OMDataType* b) {
        auto signature = std::make_unique<OMMethodSignature>();
        signature->addArgument(a, nullptr);
        signature->addArgument(b, nullptr);
        signature->addReturnType(result);
        return addMethodSignature(std::move(signature));
    };
    mFiFi = add(object, object);
    mFiArray = add(object, array);
    mArrayFi = add(array, object);
}

FiBinaryOperation::Operands FiBinaryOperation::operands(const OMMethodSignature* signature, void** arguments,
                                                        const PartnerRule& rule) const {
    Operands found;
    const auto object = [arguments](int i) {
        return arguments[i] == nullptr ? nullptr : fi::getObjFromPrhs(arguments[i]);
    };
    const auto values = [arguments](int i) { return static_cast<const hvArray*>(arguments[i]); };
    if (signature == mFiFi || signature == mFiArray) {
        found.a = object(0);
    }
    if (signature == mFiFi || signature == mArrayFi) {
        found.b = object(1);
    }
    if (found.a == nullptr && found.b == nullptr) {
        return found;
    }
    const fi& known = found.a == nullptr ? *found.b : *found.a;
    if (signature == mFiArray) {
        found.partner = partnerFrom(values(1), known, rule);
    } else if (signature == mArrayFi) {
        found.partner = partnerFrom(values(0), known, rule);
    } else if (found.a == nullptr || found.b == nullptr) {
        found.partner = emptyPartner(known);
    }
    if (found.partner) {
        (found.a == nullptr ? found.a : found.b) = found.partner.get();
    }
    return found;
}

const fi& FiBinaryOperation::decidingOperand(const OMMethodSignature* signature, void** arguments) const {
    const bool isSecond =
        arguments[1] != nullptr && (arguments[0] == nullptr || (signature != mFiFi && signature != mFiArray));
    const bool isHostArray = signature == (isSecond ? mFiArray : mArrayFi);
    void* const operand = arguments[isSecond ? 1 : 0];
    // A method called by its class may have no object.
    if (isHostArray || operand == nullptr) {
        raiseNoSignature();
    }
    return *fi::getObjFromPrhs(operand);
}

void tolvane::detail::raiseNotAllowed(const std::string& method, const fi& operand) {
    const std::string dataType = dataTypeText(operand.getDataType());
    raiseError("fixedpoint:fi:" + method + ":" + dataType + ":notallowed",
               "Function '" + method + "' is not defined for FI objects of data type '" + dataType + "'.");
}

// A fi as result

FiBinaryOperationFiOutput::FiBinaryOperationFiOutput(const char* name) : FiBinaryOperation(name) {
    addSignatures(datatypes::kObject<fi>.find());
}

void FiBinaryOperationFiOutput::logResult(const fi& /*a*/, const fi& /*b*/, const fi& /*result*/) {}

void FiBinaryOperationFiOutput::computeAndGive(const PartnerRule& rule, OMMethodSignature* signature, int* resultCount,
                                               void** results, void** arguments) {
    const Operands given = operands(signature, arguments, rule);
    if (given.a == nullptr || given.b == nullptr) {
        raiseNoSignature();
    }
    std::unique_ptr<fi> result = computeResult(*given.a, *given.b);
    if (given.partner && !rule.hasBestPrecision) {
        const reports::Changes changes = reports::takeChanges(given.partner->getQlogger());
        result->getQlogger().addtoOverflows(changes.overflows);
        result->getQlogger().addtoUnderflows(changes.underflows);
    }
    logResult(*given.a, *given.b, *result);
    results[0] = FiOMClass::wrap(std::move(result));
    *resultCount = 1;
}

void FiBinaryOperationFiOutput::invokeMethod(OMMethodSignature* signature, int* resultCount, void** results,
                                             int /*argumentCount*/, void** arguments) {
    computeAndGive(kSameTag, signature, resultCount, results, arguments);
}

void FiBinaryOperationFiOutputFixedInputOnly::invokeMethod(OMMethodSignature* signature, int* resultCount,
                                                           void** results, int argumentCount, void** arguments) {
    if (const fi& operand = decidingOperand(signature, arguments); !operand.isFixed()) {
        raiseNotAllowed(getName(), operand);
    }
    FiBinaryOperationFiOutput::invokeMethod(signature, resultCount, results, argumentCount, arguments);
}

void FiBinaryOperationFiOutputNoBooleanInput::invokeMethod(OMMethodSignature* signature, int* resultCount,
                                                           void** results, int argumentCount, void** arguments) {
    if (const fi& operand = decidingOperand(signature, arguments); operand.isBoolean()) {
        raiseNotAllowed(getName(), operand);
    }
    FiBinaryOperationFiOutput::invokeMethod(signature, resultCount, results, argumentCount, arguments);
}

void FiBinaryOperationFiOutputStrictNumericType::invokeMethod(OMMethodSignature* signature, int* resultCount,
                                                              void** results, int /*argumentCount*/, void** arguments) {
    computeAndGive(kSameType, signature, resultCount, results, arguments);
}

// A host array as result

FiBinaryOperationHvArrayOutput::FiBinaryOperationHvArrayOutput(const char* name) : FiBinaryOperation(name) {
    addSignatures(datatypes::kArray.find());
}

void FiBinaryOperationHvArrayOutput::invokeMethod(OMMethodSignature* signature, int* resultCount, void** results,
                                                  int /*argumentCount*/, void** arguments) {
    *resultCount = 1;
    const Operands given = operands(signature, arguments, kOwnRules);
    if (given.a != nullptr && given.b != nullptr) {
        results[0] = computeResult(*given.a, *given.b);
    } else if (isOwn(signature)) {
        raiseNoSignature();
    } else {
        results[0] = nullptr;
    }
}
