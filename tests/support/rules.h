// Short ways to make arithmetic rules in tests, to compare them field by field, and to show them to the host.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>

#include "descriptors/fimath.h"
#include "host/bs.h"
#include "host/hv.h"
#include "host/om.h"

/// Every stored property under its name; all values are exact in a double.
using RuleFields = std::map<std::string, double>;

inline RuleFields fieldsOf(const fimath& rules) {
    return {{"RoundMode", static_cast<double>(rules.getRoundMode())},
            {"OverflowMode", static_cast<double>(rules.getOverflowMode())},
            {"PrecisionMode", static_cast<double>(rules.getPrecisionMode())},
            {"ProductMode", static_cast<double>(rules.getProductMode())},
            {"ProductWordLength", rules.getProductWordLength()},
            {"MaxProductWordLength", rules.getMaxProductWordLength()},
            {"ProductFixedExponent", rules.getProductFixedExponent()},
            {"ProductSlopeAdjustmentFactor", rules.getProductSlopeAdjustmentFactor()},
            {"ProductBias", rules.getProductBias()},
            {"SumMode", static_cast<double>(rules.getSumMode())},
            {"SumWordLength", rules.getSumWordLength()},
            {"MaxSumWordLength", rules.getMaxSumWordLength()},
            {"SumFixedExponent", rules.getSumFixedExponent()},
            {"SumSlopeAdjustmentFactor", rules.getSumSlopeAdjustmentFactor()},
            {"SumBias", rules.getSumBias()},
            {"CastBeforeSum", rules.getCastBeforeSum() ? 1.0 : 0.0}};
}

/// The fields with some changes.
inline RuleFields changed(RuleFields fields, const RuleFields& changes) {
    for (const auto& [name, value] : changes) {
        fields.at(name) = value;
    }
    return fields;
}

inline RuleFields factoryFields() {
    return {{"RoundMode", 4},
            {"OverflowMode", 0},
            {"PrecisionMode", 0},
            {"ProductMode", 0},
            {"ProductWordLength", 32},
            {"MaxProductWordLength", 128},
            {"ProductFixedExponent", -30},
            {"ProductSlopeAdjustmentFactor", 1},
            {"ProductBias", 0},
            {"SumMode", 0},
            {"SumWordLength", 32},
            {"MaxSumWordLength", 128},
            {"SumFixedExponent", -30},
            {"SumSlopeAdjustmentFactor", 1},
            {"SumBias", 0},
            {"CastBeforeSum", 1}};
}

/// Rules that differ from the factory values in every field.
inline fimath unusualRules() {
    fimath rules(embedded::RoundModeEnum::Fix, embedded::OverflowModeEnum::Wrap, fimath::PrecisionModeEnum::Stepped,
                 fimath::ArithmeticModeEnum::KeepMSB, 11, 22, 33, fimath::ArithmeticModeEnum::SpecifyPrecision, 44, 55,
                 -6, false);
    rules.setProductSlopeAdjustmentFactor(1.25);
    rules.setProductBias(-0.5);
    rules.setSumSlopeAdjustmentFactor(1.5);
    rules.setSumBias(3);
    return rules;
}

/// Takes ownership of a text from the library.
inline std::string taken(char* text) {
    const std::string copy = text;
    bsFree(text);
    return copy;
}

/// A host class whose handles own fimath objects.
class RulesClass : public OMClass {
 public:
    explicit RulesClass(const char* name) { setName(name, true); }
    void destroyObject(OMInterface* interface) override { delete fimath::getObjFromPrhs(interface); }
};
