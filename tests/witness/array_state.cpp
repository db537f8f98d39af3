// Making arrays, stores into whole arrays, types, rules and logs.
#include "fi/FiColumnReference.h"
#include "logging/filog.h"
#include "logging/reports.h"
#include "tests/witness/arrays.h"

// If the witness is older than this namespace, its helpers are in the global one.
namespace tolvane::detail {}
using namespace tolvane::detail;

namespace {

using Case = ArrayCase;

NumericType anyType(Case& c) {
    const NumericType type = c.theme.type(c.draw);
    show(c.out, "  type", type);
    return type;
}
fimath anyRules(Case& c) {
    const fimath made = c.draw.oneIn(2) ? c.theme.rules : c.theme.anyRules(c.draw);
    show(c.out, "  rules", made);
    return made;
}
constexpr auto kAssignment = embedded::OperationTypeEnum::Assignment;

ArrayRow assignment[] = {
    {"copydata", kPair | kRestructures, [](Case& c) { c.a->copydata(*c.b); }, 10},
    {"quantizeAll", kRestructures, [](Case& c) { c.a->quantizeAll(c.draw.oneIn(2)); }, 8},
    // A change of type doesn't change entries, so this quantizes values that don't fit.
    {"retype and quantize", kRestructures,
     [](Case& c) {
         const int bits = c.draw.between(-3, 1);
         c.out("  bits", bits);
         attempt(c.out, [&] { c.a->setFractionLength(c.a->getFractionLength() + bits); });
         show(c.out, "  retyped", *c.a);
         c.a->quantizeAll(true);
     }},
    {"resizeAndZero", kRestructures,
     [](Case& c) {
         // Old values are kept as far as possible; callers overwrite them all.
         const NumericType type = anyType(c);
         const std::uint64_t m = 1 + c.draw.below(4);
         const std::uint64_t n = 1 + c.draw.below(4);
         attempt(c.out, [&] { c.a->resizeAndZero(m, n, type, anyRules(c), c.theme.isComplex(c.draw)); });
         for (std::uint64_t i = 0; i < c.a->numel(); ++i) {
             c.a->setIndex(i);
             c.a->setvalue(0.0);
             *c.a = c.draw.between(-40, 40) / 8.0;
         }
         c.a->setIndex(0);
     }},
    {"updateAssignmentQuantizer", kRestructures, [](Case& c) { c.a->updateAssignmentQuantizer(); }, 2},
    {"updatePrecision", kRestructures, [](Case& c) { c.a->updatePrecision(); }, 1},
    {"reInitializeRealImag", kRestructures, [](Case& c) { c.a->reInitializeRealImag(); }, 1},
    {"setPrecision", kRestructures,
     [](Case& c) {
         c.a->setPrecision(c.draw.of({40U, 52U, 53U, 64U, 100U}));
     },
     1},
    {"coordinateComplexity", kOne,
     [](Case& c) {
         c.a->coordinateComplexity(c.draw.percent(70), c.draw.of({0U, 40U, 52U, 53U, 64U, 130U}));
     },
     3},
    {"updateNumel", kRestructures,
     [](Case& c) {
         const std::uint64_t dims[] = {c.a->getN(), c.a->getM()};
         c.a->copyDimensions(dims, 2);
         c.a->updateNumel();
     },
     2},
    {"assign views", kPair | kElement | kRestructures,
     [](Case& c) {
         FiReference left(*c.a);
         FiReference right(*c.b);
         left.setIndex(c.place());
         right.setIndex(c.draw.below(c.b->numel()));
         left = right;
         show(c.out, "  view", left, true);
     },
     2},
    {"column views", kElement | kRestructures,
     [](Case& c) {
         FiColumnReference view(*c.a, c.draw.below(c.a->getN() + 1));
         FiColumnReference other(*c.a, c.draw.below(c.a->getN()));
         other.setIndex(0);
         attempt(c.out, [&] { view.setColumn(c.draw.below(c.a->getN() + 1)); });
         FiColumnReference twin(other);
         twin.setColumn(c.draw.below(c.a->getN()));
         twin.setIndex(c.draw.below(c.a->getM()));
         twin = other;
         show(c.out, "  view", view, true);
         show(c.out, "  twin", twin, true);
         other += *c.a;
         c.keep(std::make_unique<fi>(other));
     },
     3},
    // An operand that shares its elements with another through a view, in each role.
    {"aliases", kElement | kRestructures,
     [](Case& c) {
         FiReference view(*c.a);
         view.setIndex(c.place());
         switch (c.draw.below(5)) {
             case 0:
                 c.keep(c.a->plus(view));
                 break;
             case 1:
                 c.keep(view.times(*c.a));
                 break;
             case 2:
                 *c.a += view;
                 break;
             case 3:
                 *c.a *= view;
                 break;
             default:
                 c.a->subscriptedOverwriteAssignment(
                     c.plan(Sizes(c.a->dims(), c.a->dims() + c.a->ndims()), -static_cast<double>(c.a->numel()),
                            static_cast<double>(c.a->numel()))
                         .get(),
                     view);
         }
     },
     4},
};

ArrayRow types[] = {
    {"setWordLength", kRestructures, [](Case& c) { c.a->setWordLength(c.theme.wordLength(c.draw)); }},
    {"setFractionLength", kRestructures, [](Case& c) { c.a->setFractionLength(c.draw.between(-10, 40)); }},
    {"setFixedExponent", kRestructures, [](Case& c) { c.a->setFixedExponent(c.draw.between(-40, 10)); }},
    {"setSigned", kRestructures, [](Case& c) { c.a->setSigned(c.draw.oneIn(2)); }},
    {"setSignedness", kRestructures, [](Case& c) { c.a->setSignedness(c.draw.anyOf<fi::Signedness>(2)); }},
    {"setSlope", kRestructures,
     [](Case& c) {
         c.a->setSlope(c.draw.of({0.25, 1.0, 0.3, 2.0, 0.0}));
     },
     2},
    {"setSlopeAdjustmentFactor", kRestructures,
     [](Case& c) {
         c.a->setSlopeAdjustmentFactor(c.draw.of({1.0, 1.0, 1.5, 2.5}));
     },
     2},
    {"setBias", kRestructures,
     [](Case& c) {
         c.a->setBias(c.draw.of({0.0, 0.0, 1.0, -2.5}));
     },
     2},
    {"setScaling of three", kRestructures,
     [](Case& c) {
         const double factor = c.draw.of({1.0, 1.25});
         const int exponent = c.draw.between(-20, 4);
         c.a->setScaling(factor, exponent, c.draw.of({0.0, 0.0, 2.5}));
     }},
    {"setScaling", kRestructures, [](Case& c) { c.a->setScaling(c.draw.anyOf<fi::ScalingEnum>(2)); }, 1},
    {"setDataType", kRestructures, [](Case& c) { c.a->setDataType(c.draw.anyOf<fi::DataTypeEnum>(4)); }, 2},
    {"setDataTypeMode", kRestructures,
     [](Case& c) {
         using Mode = fi::DataTypeModeEnum;
         c.a->setDataTypeMode(c.draw.of({Mode::FixedBinaryPoint, Mode::ScaledDoubleBinaryPoint, Mode::Double,
                                         Mode::FixedSlopeBias, Mode::Single}));
     },
     2},
    {"setSignednessBool", kRestructures,
     [](Case& c) { c.a->setSignednessBool(hostRow({static_cast<double>(c.draw.below(2))}).get()); }, 1},
    {"setDataTypeOverride", kRestructures,
     [](Case& c) { c.a->setDataTypeOverride(c.draw.anyOf<fxpDataTypeDTOMode>(1)); }, 1},
    {"describe", kOne,
     [](Case& c) {
         c.out("  slope", c.a->getSlope(), c.a->getFractionLength(), c.a->getProductSlope(), c.a->getSumSlope(),
               c.a->getProductFractionLength(), c.a->getSumFractionLength());
         c.keep(c.a->getSignednessAsHvArray());
         c.keep(c.a->getCStyle());
         show(c.out, "  quantizer", c.a->getAssignmentQuantizer());
     }},
};

ArrayRow rules[] = {
    {"setRoundMode", kRestructures, [](Case& c) { c.a->setRoundMode(c.draw.rounding()); }},
    {"setOverflowMode", kRestructures, [](Case& c) { c.a->setOverflowMode(c.draw.overflow()); }},
    {"setProductMode", kRestructures, [](Case& c) { c.a->setProductMode(c.draw.anyOf<fi::ArithmeticModeEnum>(3)); }},
    {"setSumMode", kRestructures, [](Case& c) { c.a->setSumMode(c.draw.anyOf<fi::ArithmeticModeEnum>(3)); }},
    {"setCastBeforeSum", kRestructures, [](Case& c) { c.a->setCastBeforeSum(c.draw.oneIn(2)); }},
    {"setProductWordLength", kRestructures, [](Case& c) { c.a->setProductWordLength(c.theme.wordLength(c.draw)); }},
    {"setSumWordLength", kRestructures, [](Case& c) { c.a->setSumWordLength(c.theme.wordLength(c.draw)); }},
    {"setMaxProductWordLength", kRestructures,
     [](Case& c) {
         c.a->setMaxProductWordLength(c.draw.of({16, 64, 128, 65535, 65535, 0}));
     },
     2},
    {"setMaxSumWordLength", kRestructures,
     [](Case& c) {
         c.a->setMaxSumWordLength(c.draw.of({16, 64, 128, 65535, 65535, 70000}));
     },
     2},
    {"setProductFractionLength", kRestructures, [](Case& c) { c.a->setProductFractionLength(c.draw.between(-5, 40)); }},
    {"setSumFractionLength", kRestructures, [](Case& c) { c.a->setSumFractionLength(c.draw.between(-5, 40)); }},
    {"setProductFixedExponent", kRestructures, [](Case& c) { c.a->setProductFixedExponent(c.draw.between(-30, 4)); },
     2},
    {"setSumFixedExponent", kRestructures, [](Case& c) { c.a->setSumFixedExponent(c.draw.between(-30, 4)); }, 2},
    {"setProductSlope", kRestructures,
     [](Case& c) {
         c.a->setProductSlope(c.draw.of({0.5, 1.0, 0.125, 0.3}));
     },
     1},
    {"setSumSlope", kRestructures,
     [](Case& c) {
         c.a->setSumSlope(c.draw.of({0.5, 1.0, 0.125, 0.3}));
     },
     1},
    {"setProductSlopeAdjustmentFactor", kRestructures,
     [](Case& c) {
         c.a->setProductSlopeAdjustmentFactor(c.draw.of({1.0, 1.0, 1.5, 2.0}));
     },
     1},
    {"setSumSlopeAdjustmentFactor", kRestructures,
     [](Case& c) {
         c.a->setSumSlopeAdjustmentFactor(c.draw.of({1.0, 1.0, 1.5, 2.0}));
     },
     1},
    {"setProductBias", kRestructures,
     [](Case& c) {
         c.a->setProductBias(c.draw.of({0.0, 0.0, 1.0}));
     },
     1},
    {"setSumBias", kRestructures,
     [](Case& c) {
         c.a->setSumBias(c.draw.of({0.0, 0.0, 1.0}));
     },
     1},
    {"setCStyle", kRestructures,
     [](Case& c) {
         c.a->setCStyle(hostRow({c.draw.of({0.0, 1.0})}).get());
     },
     1},
    {"setFimath", kRestructures, [](Case& c) { c.a->setFimath(c.theme.rules); }, 8},
    {"setFimathIsLocal", kRestructures, [](Case& c) { c.a->setFimathIsLocal(c.draw.oneIn(2)); }},
    {"setGlobalFimath", kOne, [](Case& c) { fimath::setGlobalFimath(anyRules(c)); }},
    {"resetGlobalFimath", kOne, [](Case&) { fimath::resetGlobalFimath(); }, 1},
};

/// One of the logs that an array has.
const qlogger& anyLog(Case& c) {
    const int which = c.draw.between(0, 3);
    c.out("  log", which);
    return which == 1 && c.a->isSumRegisterInitialized()       ? c.a->getsumQlogger()
           : which == 2 && c.a->isProductRegisterInitialized() ? c.a->getproductQlogger()
           : which == 3 && c.a->isProductRegisterInitialized() ? c.a->getproductregsumQlogger()
                                                               : c.a->getQlogger();
}

ArrayRow logs[] = {
    {"setAlwaysLog", kOne, [](Case& c) { anyLog(c).setAlwaysLog(c.draw.percent(75)); }, 12},
    {"setLogging", kOne, [](Case& c) { fi::setLogging(c.draw.percent(65)); }, 8},
    {"resetLogging", kOne, [](Case& c) { c.a->resetLogging(); }},
    {"set counts", kOne,
     [](Case& c) {
         const qlogger& log = anyLog(c);
         log.setNoverflows(c.draw.below(9));
         log.setNunderflows(c.draw.below(9));
         log.setOldOverflows(c.draw.below(9));
         log.setOldUnderflows(c.draw.below(9));
         log.setNMathOperations(c.draw.below(9));
     },
     8},
    {"setTag", kRestructures, [](Case& c) { c.a->setTag(c.draw.tag()); }},
    {"setLogType", kOne,
     [](Case& c) {
         qlogger::setLogType(c.draw.anyOf<embedded::LogTypeEnum>(1));
         embedded::setFeatureFiTagLogging(c.draw.oneIn(2));
     },
     2},
    {"setExtremes", kOne,
     [](Case& c) {
         c.a->setMaxLogFromRealWorldValue(c.draw.between(-9, 9) / 4.0);
         c.a->setMinLogFromRealWorldValue(c.draw.between(-9, 9) / 4.0);
     },
     2},
    {"getExtremes", kOne,
     [](Case& c) {
         c.out("  extremes", c.a->getMaxLogAsRealWorldValue(), c.a->getMinLogAsRealWorldValue(),
               c.a->getQlogger().isreset(), std::string_view(c.a->getQlogger().createFilogKey()));
         c.keep(c.a->saveLogsInHvArrayStruct());
     }},
    {"getlocalfilogs", kOne, [](Case& c) { c.keep(c.a->getlocalfilogs()); }},
    {"consolidatelocalfilogs", kOne, [](Case& c) { c.a->consolidatelocalfilogs(); }},
    {"displaySubsasgnLogging", kOne, [](Case& c) { fi::displaySubsasgnLogging(anyLog(c)); }, 6},
    {"updateAssignlog", kOne, [](Case& c) { fi::updateAssignlog(anyLog(c)); }, 6},
    {"reports", kPair,
     [](Case& c) {
         const OperationCounts counts{c.draw.below(99), c.draw.below(99)};
         switch (c.draw.below(5)) {
             case 0:
                 reports::report(anyLog(c), "plus");
                 break;
             case 1:
                 reports::reportWithTotal(anyLog(c), fi::getSumlog(), counts, "plus");
                 break;
             case 2:
                 reports::reportWithTotal(anyLog(c), fi::getSumlog(), c.b->getQlogger(), counts, "plus");
                 break;
             case 3:
                 reports::reportConcatenation(anyLog(c), fi::getAssignlog());
                 break;
             default:
                 if (c.a->isProductRegisterInitialized()) {
                     reports::reportProductAndSum({c.a->getproductQlogger(), c.a->getproductregsumQlogger()},
                                                  {fi::getProductlog(), fi::getSumlog()}, c.b->getQlogger(), counts,
                                                  "mtimes");
                 }
         }
     },
     8},
    {"displayGlobalLog", kOne, [](Case&) { fi::displayGlobalLog(); }, 1},
    {"resetGlobalLog", kOne, [](Case&) { fi::resetGlobalLog(); }, 1},
    {"alwaysLog of the session", kOne, [](Case& c) { fi::getAssignlog().setAlwaysLog(c.draw.oneIn(2)); }, 1},
    {"updateStates", kPair, [](Case& c) { anyLog(c).updateStates(c.b->getQlogger()); }},
    {"set", kPair, [](Case& c) { anyLog(c).set(c.b->getQlogger()); }, 4},
    {"disp", kOne, [](Case& c) { anyLog(c).disp(); }, 1},
    {"default precision", kOne,
     [](Case& c) {
         number::setDefaultPrecision(c.draw.of({52U, 52U, 64U}), c.draw.oneIn(12));
     },
     3},
};

/// The dimensions drawn for a new array, with what constructors take.
struct Made {
    explicit Made(Case& c)
        : sizes(c.theme.sizes(c.draw)),
          type(anyType(c)),
          rules(c.theme.rulesOfArray(c.draw)),
          isLocal(c.theme.isLocal(c.draw)),
          isComplex(c.theme.isComplex(c.draw)),
          precision(c.draw.of({0U, 0U, 53U, 64U})),
          tag(c.draw.tag()),
          re(valuesFor(c.draw, type, anySpread(c.draw), std::max<std::uint64_t>(countOf(sizes), 1))),
          im(valuesFor(c.draw, type, anySpread(c.draw), re.size())) {}
    Sizes sizes;
    NumericType type;
    fimath rules;
    bool isLocal;
    bool isComplex;
    unsigned precision;
    std::string tag;
    std::vector<double> re, im;
};

ArrayRow construction[] = {
    {"empty", kOne, [](Case& c) { c.keep(std::make_unique<fi>()); }, 1},
    {"scalar", kOne,
     [](Case& c) {
         const Made m(c);
         c.keep(std::make_unique<fi>(m.re[0], m.type, m.rules, m.precision, m.tag, m.isLocal, kAssignment));
     }},
    {"scalar by lengths", kOne,
     [](Case& c) {
         const Made m(c);
         c.keep(std::make_unique<fi>(m.re[0], m.type.isSigned(), m.type.getWordLength(), 7, m.rules, m.precision, m.tag,
                                     m.isLocal, kAssignment));
     }},
    {"zeros", kOne,
     [](Case& c) {
         const Made m(c);
         c.keep(std::make_unique<fi>(m.sizes[0], m.sizes[1], m.type, m.rules, m.isComplex, m.tag, m.isLocal,
                                     kAssignment, m.precision));
     }},
    {"stored zeros", kOne,
     [](Case& c) {
         const Made m(c);
         c.keep(std::make_unique<fi>(m.sizes.data(), m.sizes.size(), m.type, m.rules, m.isComplex, m.tag, m.isLocal,
                                     kAssignment, m.precision));
     }},
    {"from a quantizer", kOne,
     [](Case& c) {
         const Made m(c);
         c.keep(std::make_unique<fi>(m.sizes.data(), m.sizes.size(), m.type, m.rules, m.isComplex,
                                     c.a->getAssignmentQuantizer(), m.isLocal));
     }},
    {"from doubles", kOne,
     [](Case& c) {
         const Made m(c);
         c.keep(std::make_unique<fi>(m.re.data(), m.sizes.data(), m.sizes.size(), m.type, m.rules, m.tag, m.isLocal,
                                     kAssignment));
     },
     6},
    {"from complex doubles", kOne,
     [](Case& c) {
         const Made m(c);
         c.keep(std::make_unique<fi>(m.re.data(), m.im.data(), m.sizes.data(), m.sizes.size(), m.type, m.rules, m.tag,
                                     m.isLocal, kAssignment));
     }},
    {"filled", kOne,
     [](Case& c) {
         const Made m(c);
         c.keep(std::make_unique<fi>(m.re[0], m.sizes.data(), m.sizes.size(), m.type, m.rules, m.tag, m.isLocal,
                                     kAssignment));
     }},
    {"filled with a complex value", kOne,
     [](Case& c) {
         const Made m(c);
         c.keep(std::make_unique<fi>(m.re[0], m.im[0], m.sizes.data(), m.sizes.size(), m.type, m.rules, m.tag,
                                     m.isLocal, kAssignment));
     }},
    {"from a host array", kOne,
     [](Case& c) {
         const Made m(c);
         NumericType type = m.type;
         if (c.draw.oneIn(4) && type.isScaledType()) {
             type.setScaling(NumericType::ScalingEnum::Unspecified);
         }
         const hvArrayOwner host = hostArray(c.draw, m.type, m.sizes,
                                             c.draw.of({hvDOUBLE_CLASS, hvDOUBLE_CLASS, hvSINGLE_CLASS, hvINT16_CLASS,
                                                        hvUINT8_CLASS, hvINT64_CLASS, hvUINT64_CLASS, hvLOGICAL_CLASS}),
                                             m.isComplex);
         c.keep(c.draw.oneIn(2) ? std::make_unique<fi>(host.get(), type, m.rules, m.tag, m.isLocal, kAssignment)
                                : std::make_unique<fi>(host.get(), type, m.isLocal, m.precision, m.tag, kAssignment));
     },
     8},
    {"copy", kOne, [](Case& c) { c.keep(std::make_unique<fi>(*c.a)); }, 8},
    {"copy an element", kElement, [](Case& c) { c.keep(std::make_unique<fi>(*c.a, embedded::CopyElement::tag)); }},
    {"copy real parts", kOne, [](Case& c) { c.keep(std::make_unique<fi>(*c.a, fi::CopyReal::tag)); }},
    {"copy imaginary parts", kOne, [](Case& c) { c.keep(std::make_unique<fi>(*c.a, fi::CopyImag::tag)); }},
};

}  // namespace

std::span<ArrayRow> assignmentRows() {
    return assignment;
}
std::span<ArrayRow> typeRows() {
    return types;
}
std::span<ArrayRow> ruleRows() {
    return rules;
}
std::span<ArrayRow> logRows() {
    return logs;
}
std::span<ArrayRow> constructionRows() {
    return construction;
}
