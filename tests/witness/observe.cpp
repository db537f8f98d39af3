#include "tests/witness/observe.h"

#include <algorithm>
#include <array>
#include <map>
#include <memory>

#include "logging/filog.h"

namespace {

/// Two numbers for splitting a value: the rest, and the piece that is taken off.
struct Scratch {
    explicit Scratch(std::uint32_t precision) : rest(0.0, precision, true), piece(0.0, precision, true) {}
    number rest;
    number piece;
};

/// Shows a value of many bits as doubles and the exponents between them.
void showWide(Transcript& out, const char* label, const number& value) {
    if (value.myisnan() || value.myisinf() || value.iszero()) {
        out(label, value.todouble(), value.isnegative());
        return;
    }
    static std::map<std::uint32_t, std::unique_ptr<Scratch>> scratches;
    std::unique_ptr<Scratch>& scratch = scratches[value.getprecision()];
    if (!scratch) {
        scratch = std::make_unique<Scratch>(std::max(value.getprecision(), 53U));
    }
    number& rest = scratch->rest;
    rest = value;
    out(label, "wide");
    while (!rest.iszero()) {
        const int exponent = rest.unbiasedexponent();
        rest.pow2(-exponent);
        const double piece = rest.todouble();
        out("        ", piece, exponent);
        scratch->piece = piece;
        rest -= scratch->piece;
    }
}

template <class Register>
void showRules(Transcript& out, const char* label, const Register& rules) {
    out(label, rules.getProductMode(), rules.getProductWordLength(), rules.getMaxProductWordLength(),
        rules.getProductFixedExponent(), rules.getProductSlopeAdjustmentFactor(), rules.getProductBias(),
        rules.getSumMode(), rules.getSumWordLength(), rules.getMaxSumWordLength(), rules.getSumFixedExponent(),
        rules.getSumSlopeAdjustmentFactor(), rules.getSumBias(), rules.getRoundMode(), rules.getOverflowMode(),
        rules.getPrecisionMode(), rules.getCastBeforeSum());
}

std::array<const qlogger*, 3> sessionLogs() {
    return {&fi::getAssignlog(), &fi::getSumlog(), &fi::getProductlog()};
}

}  // namespace

void show(Transcript& out, const char* label, const number& value) {
    if (value.gettype() == embedded::numbertype::doublenumber) {
        out(label, value.todouble());
    } else {
        showWide(out, label, value);
    }
}

void showAll(Transcript& out, const char* label, const number& values) {
    const std::uint64_t cursor = values.getIndex();
    out(label, values.gettype(), values.getprecision(), values.numel(), cursor);
    for (std::uint64_t i = 0; i < values.numel(); ++i) {
        show(out, "      ", values[i]);
    }
    values.setIndex(cursor);
}

void show(Transcript& out, const char* label, const NumericType& type) {
    out(label, type.getDataTypeMode(), type.getDataType(), type.getScaling(), type.getSignedness(),
        type.getWordLength(), type.getSlopeAdjustmentFactor(), type.getFixedExponent(), type.getBias(),
        type.getDataTypeOverride());
}

void show(Transcript& out, const char* label, const fimath& rules) {
    showRules(out, label, rules);
}

void show(Transcript& out, const char* label, const qlogger& log) {
    out(label, std::string_view(log.getTag()), log.getOperationType(), log.getNoverflows(), log.getNunderflows(),
        log.getNoperations(), log.getNMathoperations(), log.getOldOverflows(), log.getOldUnderflows(), log.alwaysLog(),
        log.writeLogOnDestroy());
    show(out, "    log type", log.getNumericType());
    for (const number* extreme : {&log.getMax(), &log.getMin()}) {
        out("    extreme", extreme->gettype(), extreme->getprecision(), extreme->numel());
        show(out, "      ", *extreme);
    }
}

void show(Transcript& out, const char* label, const filog& log) {
    out(label, std::string_view(log.getKey()), std::string_view(log.getTag()), log.getOperationType(), log.getMinLog(),
        log.getMaxLog(), log.getNumberOfOverflows(), log.getNumberOfUnderflows());
    show(out, "    entry type", log.getNumericType());
}

void show(Transcript& out, const char* label, const quantizer& q) {
    out(label, q.getMode(), q.getRoundMode(), q.getOverflowMode(), q.getFormat().first, q.getFormat().second,
        q.getWordlength(), q.getFractionlength(), q.getExponentlength(), q.getPrecision(), q.getExponentmax(),
        q.getExponentmin(), q.isSignedFixed(), q.isUnsignedFixed(), q.isScaledType());
    for (const number* constant : {&q.getRealmax(), &q.getLowerBound(), &q.getPositiveEps(), &q.getNegativeEps(),
                                   &q.getWrapAround(), &q.getDenormalmin(), &q.getRealmin(), &q.getEps()}) {
        showAll(out, "    constant", *constant);
    }
    show(out, "    log", q.getQlogger());
}

void show(Transcript& out, const char* label, const fi& array, bool isView) {
    const std::uint64_t cursor = array.getIndex();
    out(label, array.dimensions(), array.numel(), array.length(), array.getM(), array.getN(), array.isreal(),
        array.iscomplex(), cursor, array.real().getIndex());
    show(out, "    type", array.getNumericType());
    out("    marks", array.getFimathIsLocal(), array.getIsAutoScaled(), array.getDataSetByPVPair(),
        array.getLastPropertySet(), std::string_view(array.getTag()), isView);
    showRules(out, "    rules", array);
    if (!isView) {
        showAll(out, "    real", array.real());
        if (array.iscomplex()) {
            const number& imag = array.imag(0);
            out("    imag", imag.gettype(), imag.getprecision(), imag.numel());
            for (std::uint64_t i = 0; i < imag.numel(); ++i) {
                show(out, "      ", array.imag(i));
            }
            imag.setIndex(cursor);
        }
    }
    show(out, "    log", array.getQlogger());
    out("    registers", array.isSumRegisterInitialized(), array.isProductRegisterInitialized());
    if (array.isSumRegisterInitialized()) {
        show(out, "    sum register", array.getsumQlogger());
    }
    if (array.isProductRegisterInitialized()) {
        show(out, "    product register", array.getproductQlogger());
        show(out, "    sum register of products", array.getproductregsumQlogger());
    }
}

void show(Transcript& out, const char* label, const hvArray* array) {
    if (array == nullptr) {
        out(label, "null");
        return;
    }
    out(label, hvGetClassName(array), hvGetDims(array), hvIsComplex(array));
    const std::size_t count = hvGetNumberOfElements(array);
    if (hvIsChar(array)) {
        out("      ", std::span(static_cast<const std::uint16_t*>(hvGetData(array)), count));
    } else if (hvIsCell(array)) {
        for (std::size_t i = 0; i < count; ++i) {
            show(out, "    cell", hvGetCell(array, i));
        }
    } else if (hvIsStruct(array)) {
        for (int field = 0; field < hvGetNumberOfFields(array); ++field) {
            out("    field", hvGetFieldNameByNumber(array, field));
            for (std::size_t i = 0; i < count; ++i) {
                show(out, "    value", hvGetFieldByNumber(array, i, field));
            }
        }
    } else if (hvGetHandle(array) != nullptr) {
        show(out, "    object", hostref::Value::share(array));
    } else {
        hvDispatchClass(hvGetClassID(array), [&](auto element) {
            using T = typename decltype(element)::type;
            for (const void* part : {hvGetData(array), hvIsComplex(array) ? hvGetImagData(array) : nullptr}) {
                if (part != nullptr) {
                    out("      ", std::span(static_cast<const T*>(part), count));
                }
            }
        });
    }
}

void show(Transcript& out, const char* label, const hostref::Value& value) {
    if (!value.isObject()) {
        show(out, label, value.array());
        return;
    }
    const std::string name = value.className();
    out(label, std::string_view(name));
    if (name == "embedded.fi") {
        show(out, "   ", *static_cast<const fi*>(value.object()));
    } else if (name == "embedded.numerictype") {
        show(out, "   ", *static_cast<const NumericType*>(value.object()));
    } else if (name == "embedded.fimath" || name == "embedded.globalfimath") {
        show(out, "   ", *static_cast<const fimath*>(value.object()));
    } else if (name == "embedded.qlogger") {
        show(out, "   ", *static_cast<const qlogger*>(value.object()));
    } else if (name == "embedded.filog") {
        show(out, "   ", *static_cast<const filog*>(value.object()));
    } else if (name == "embedded.quantizer") {
        show(out, "   ", *static_cast<const quantizer*>(value.object()));
    }
}

void showSession(Transcript& out) {
    for (const qlogger* log : sessionLogs()) {
        show(out, "session log", *log);
    }
    for (const auto& [key, entry] : filog::getLogMap()) {
        show(out, "log map", entry);
    }
    show(out, "global rules", fimath::getGlobalFimath());
    out("defaults", number::getDefaultPrecision(), number::getDefaultForceMultiplePrecision(), qlogger::getLogging(),
        qlogger::getLogType(), embedded::getFeatureFiTagLogging(), embedded::getFeatureFi33PlusMemoryFootprint(),
        embedded::getFeatureNumericTypeUnspecifiedSign(), embedded::getFeatureFiRealOnlySlopeBias(),
        embedded::getFeatureFimathLessFis());
}

void resetSession() {
    filog::clearglobalfilogs();
    fimath::resetGlobalFimathToFactory();
    for (const qlogger* log : sessionLogs()) {
        log->reset();
        log->setNMathOperations(0);
        log->setOldOverflows(0);
        log->setOldUnderflows(0);
        log->setAlwaysLog(false);
    }
    number::setDefaultPrecision(52, false);
    qlogger::setLogging(false);
    qlogger::setLogType(embedded::LogTypeEnum::Off);
    embedded::setFeatureFiTagLogging(false);
    embedded::setFeatureFi33PlusMemoryFootprint(true);
    embedded::setFeatureNumericTypeUnspecifiedSign(true);
    embedded::setFeatureFiRealOnlySlopeBias(true);
    embedded::setFeatureFimathLessFis(true);
}
