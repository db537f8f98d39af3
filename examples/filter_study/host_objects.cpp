#include "examples/filter_study/host_objects.h"

namespace filterstudy {

using hostref::Value;

Value typeOf(hostref::Session& session, Word word) {
    Value type = session.construct("embedded.numerictype");
    type.set("SignednessBool", true);
    type.set("WordLength", word.bits);
    type.set("FractionLength", word.fraction);
    return type;
}

Value quantizingRules(hostref::Session& session) {
    Value rules = session.construct("embedded.fimath");
    rules.set("RoundMode", "nearest");
    rules.set("OverflowMode", "saturate");
    return rules;
}

void setRules(const Value& rules, const Arithmetic& arithmetic) {
    rules.set("RoundMode", std::string(study::nameOf(arithmetic.round)));
    rules.set("OverflowMode", std::string(study::nameOf(arithmetic.overflow)));
    rules.set("CastBeforeSum", false);
    rules.set("ProductMode", nameOf(arithmetic.product.keep));
    rules.set("ProductWordLength", arithmetic.product.word.bits);
    rules.set("ProductFractionLength", arithmetic.product.word.fraction);
    rules.set("SumMode", nameOf(arithmetic.sum.keep));
    rules.set("SumWordLength", arithmetic.sum.word.bits);
    rules.set("SumFractionLength", arithmetic.sum.word.fraction);
}

}  // namespace filterstudy
