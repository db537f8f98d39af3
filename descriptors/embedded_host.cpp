// The package as the host sees it: its enumerations, its features, and calls into the host.
#include "descriptors/embedded.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <memory>
#include <string>
#include <utility>

#include "descriptors/enum_texts.h"
#include "descriptors/enum_types.h"
#include "host/ErrorIdException.h"
#include "host/hf.h"
#include "host/hsc.h"
#include "host/hv.h"
#include "host/om.h"

using namespace tolvane::detail;

// Package

namespace {

OMApplication* sEmbeddedPackage = nullptr;

}  // namespace

OMApplication* embedded::getEmbeddedPackage() {
    if (sEmbeddedPackage == nullptr) {
        sEmbeddedPackage = OMApplicationManager::getApplication(getEmbeddedPackageName());
    }
    if (sEmbeddedPackage == nullptr) {
        sEmbeddedPackage =
            OMApplicationManager::addApplication(std::make_unique<OMApplication>(getEmbeddedPackageName(), true));
    }
    return sEmbeddedPackage;
}

void embedded::terminateEmbeddedPackage() {
    if (sEmbeddedPackage != nullptr) {
        OMApplicationManager::removeApplication(sEmbeddedPackage);
        sEmbeddedPackage = nullptr;
    }
}

// Shared enumerations

EnumStringType* embedded::getQuantizerModeEnum() {
    static EnumStringType* const kType = enumType("quantizer Mode", enumtexts::kQuantizerModes);
    return kType;
}

EnumStringType* embedded::getRoundModeEnum() {
    static EnumStringType* const kType = enumType("quantizer Round Mode", enumtexts::kRoundModes);
    return kType;
}

EnumStringType* embedded::getOverflowModeEnum() {
    static EnumStringType* const kType = enumType("quantizer Overflow Mode", enumtexts::kOverflowModes);
    return kType;
}

EnumStringType* embedded::getScalingEnum() {
    static EnumStringType* const kType = enumType("quantizer Scaling", enumtexts::kScalings);
    return kType;
}

EnumStringType* embedded::getOperationTypeEnum() {
    static EnumStringType* const kType = enumType("embedded OperationTypeEnum", enumtexts::kOperationTypes);
    return kType;
}

// Feature commands

int embedded::readSetting(const hvArray* setting, int defaultSetting) {
    double value = defaultSetting;
    if (hvIsDouble(setting) || hvIsLogical(setting)) {
        // Stays a double, so that NaN (the scalar of an empty array) and huge values are refused below.
        value = std::trunc(hvGetScalar(setting));
    } else if (hvIsChar(setting)) {
        std::string text = hvArray2String(setting);
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (text == "0" || text == "off") {
            value = 0.0;
        } else if (text == "1" || text == "on") {
            value = 1.0;
        }
    } else {
        hvErrMsgIdAndTxt("VELMAR:doubleOrCharArgRequired", "Double or Character argument required.");
    }
    if (value != 0.0 && value != 1.0) {
        hvErrMsgIdAndTxt("VELMAR:mustBe01OffOn", "Value must be 0, 1, off, or on.");
    }
    return value != 0.0 ? 1 : 0;
}

namespace {

/// The default of a setting that has none: an unknown text is then refused.
constexpr int kNoDefault = -1;

void runFeatureCommand(std::atomic<bool>& feature, int outputCount, hvArray** outputs, int inputCount,
                       hvArray** inputs) {
    constexpr int kTooManyInputs = 1;
    constexpr int kNotEnoughInputs = 2;
    constexpr int kTooManyOutputs = 3;
    if (outputCount > 1) {
        hvErrMsg(kTooManyOutputs);
    }
    if (inputCount > 1) {
        hvErrMsg(kTooManyInputs);
    }
    if (inputCount < 0) {
        hvErrMsg(kNotEnoughInputs);
    }
    // The only step that can still fail with valid input comes before the store.
    const bool hasOutput = inputCount == 0 || outputCount > 0;
    hvArrayOwner output(hasOutput ? hvCreateDoubleScalar(0.0) : nullptr);
    if (inputCount > 0) {
        feature = embedded::readSetting(inputs[0], kNoDefault) != 0;
    }
    if (hasOutput) {
        *hvGetPr(output.get()) = feature ? 1.0 : 0.0;
        outputs[0] = output.release();
    }
}

}  // namespace

void embedded::setFiTagLogging(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs) {
    runFeatureCommand(s_feature_fi_tag_logging, outputCount, outputs, inputCount, inputs);
}

void embedded::setFiStackTraceLogging(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs) {
    runFeatureCommand(s_feature_fi_stack_trace_logging, outputCount, outputs, inputCount, inputs);
}

void embedded::setFi33PlusMemoryFootprint(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs) {
    runFeatureCommand(s_feature_fi_33plus_memory_footprint, outputCount, outputs, inputCount, inputs);
}

void embedded::setNumericTypeUnspecifiedSign(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs) {
    runFeatureCommand(s_feature_numerictype_unspecified_sign, outputCount, outputs, inputCount, inputs);
}

void embedded::setFiRealOnlySlopeBias(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs) {
    runFeatureCommand(s_feature_fi_realonly_slope_bias, outputCount, outputs, inputCount, inputs);
}

void embedded::setFimathLessFis(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs) {
    runFeatureCommand(s_feature_fimathless_fis, outputCount, outputs, inputCount, inputs);
}

void embedded::setFiWarnForDataTypeMode(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs) {
    runFeatureCommand(s_feature_fimathless_fis, outputCount, outputs, inputCount, inputs);
}

std::span<const embedded::Feature> embedded::getFeatures() {
    // Name, registered default, command; the order is that of registration.
    static constexpr std::array<Feature, 7> kFeatures = {{
        {"FiTagLogging", 0, &setFiTagLogging},
        {"FiStackTraceLogging", 0, &setFiStackTraceLogging},
        {"Fi33PlusMemoryFootprint", 1, &setFi33PlusMemoryFootprint},
        {"NumerictypeUnspecifiedSign", 1, &setNumericTypeUnspecifiedSign},
        {"FiRealOnlySlopeBias", 1, &setFiRealOnlySlopeBias},
        {"FimathLessFis", 1, &setFimathLessFis},
        {"FiWarnForDataTypeMode", 1, &setFiWarnForDataTypeMode},
    }};
    return kFeatures;
}

void embedded::registerFeatures() {
    for (const Feature& feature : getFeatures()) {
        hfRegisterFeature(feature.name, feature.registeredDefault, nullptr, feature.command);
    }
}

// Calls into the host

void embedded::throw_last_error() {
    std::array<hvArray*, 2> results = {nullptr, nullptr};
    hscCallVELMAR(2, results.data(), 0, nullptr, "lasterr");
    hvArrayOwner messageArray(results[0]);
    hvArrayOwner idArray(results[1]);
    std::string message = hvIsChar(messageArray.get()) ? hvArray2String(messageArray.get()) : "";
    std::string id = hvIsChar(idArray.get()) ? hvArray2String(idArray.get()) : "";
    messageArray.reset();
    idArray.reset();
    if (id.empty()) {
        id = "fixedpoint:embedded:throw_last_error";
    }
    raiseError(std::move(id), std::move(message));
}

int embedded::call_VELMAR_with_trap(int outputCount, hvArray** outputs, int inputCount, hvArray** inputs,
                                    const char* name) {
    constexpr int kQuietMode = -1;
    hscSetTrapFlag(1);
    const struct ErrorModeGuard {
        int oldMode;
        ~ErrorModeGuard() { hvSetErrorMode(oldMode); }
    } guard{hvSetErrorMode(kQuietMode)};
    return hscCallVELMAR(outputCount, outputs, inputCount, inputs, name);
}

// Objects in host values

namespace {

/// The handle of a host value with a reference, or null.
struct HeldInterface {
    explicit HeldInterface(const hvArray* value) {
        if (hvIsOpaque(value)) {
            const OMDataType* const handleType = OMTypeRepository::getType("handle", true);
            interface = static_cast<OMInterface*>(omdtConvertFromVelmar(handleType, value));
        }
    }
    ~HeldInterface() { OMInterface::operator delete(interface); }
    HeldInterface(const HeldInterface&) = delete;
    HeldInterface& operator=(const HeldInterface&) = delete;

    OMInterface* interface = nullptr;
};

}  // namespace

OMClass* embedded::hvArray2OMClass(const hvArray* value) {
    const HeldInterface held(value);
    return held.interface == nullptr ? nullptr : held.interface->getClass();
}

double embedded::getScalarImag(const hvArray* value) {
    return hvIsNumeric(value) && hvIsComplex(value) ? hvGetImagScalar(value) : 0.0;
}

bool embedded::checkIsa(OMInterface* object, const char* packageName, const char* className) {
    const OMApplication* const package =
        object == nullptr ? nullptr : OMApplicationManager::getApplication(packageName);
    const OMClass* const wanted = package == nullptr ? nullptr : package->getLocalClass(className);
    return wanted != nullptr && object->getClass()->isDescendantOf(wanted);
}

void embedded::externalToInternal(const hvArray* value) {
    const HeldInterface held(value);
    if (held.interface != nullptr) {
        held.interface->externalToInternal();
    }
}

hvArray* embedded::external_to_internal_reference(hvArray* value) {
    const HeldInterface held(value);
    hvArrayOwner result(omdtConvertToVelmar(OMTypeRepository::getType("handle", true), held.interface));
    if (held.interface != nullptr) {
        held.interface->externalToInternal();
    }
    return result.release();
}
