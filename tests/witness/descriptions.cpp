// Programs on types, rules, logs and quantizers without arrays.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "host/bs.h"
#include "logging/filog.h"
#include "quantization/quantize_numeric.h"
#include "tests/witness/program.h"

namespace {

using Mode = embedded::QuantizerModeEnum;

struct DescriptionCase {
    DescriptionCase(Draw& source, Transcript& transcript)
        : draw(source),
          out(transcript),
          theme(source),
          type(theme.type(draw)),
          rules(theme.anyRules(draw)),
          q(type, draw.rounding(), draw.overflow(), draw.tag(), draw.operation(), draw.oneIn(2)),
          other(theme.type(draw), draw.rounding(), draw.overflow(), draw.tag(), draw.operation(), draw.oneIn(2)) {
        qlogger::setLogging(draw.oneIn(2));
        number::setDefaultPrecision(draw.of({52U, 52U, 64U}), false);
        if (draw.oneIn(4)) {
            qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
            embedded::setFeatureFiTagLogging(true);
        }
        show(out, "type", type);
        show(out, "rules", rules);
        show(out, "quantizer", q);
    }
    void prepare(int /*wants*/) {}
    void finish() {
        show(out, "  type", type);
        show(out, "  rules", rules);
        // Constants are made when they are first requested.
        draw.oneIn(3) ? show(out, "  quantizer", q) : show(out, "  log", q.getQlogger());
    }
    void keep(hvArray* result) {
        const hvArrayOwner owner(result);
        show(out, "  result", owner.get());
    }
    void keepText(char* text) {
        out("  text", text);
        bsFree(text);
    }
    double value() { return valueFor(draw, q.getNumericType(), anySpread(draw)); }
    void run();

    Draw& draw;
    Transcript& out;
    Theme theme;
    NumericType type;
    fimath rules;
    quantizer q;
    quantizer other;
};

using Case = DescriptionCase;

template <class Enum>
Enum anyOf(Case& c, int last) {
    return c.draw.anyOf<Enum>(last);
}

Row<Case> types[] = {
    {"setWordLength", 0, [](Case& c) { c.type.setWordLength(c.draw.oneIn(8) ? 0 : c.theme.wordLength(c.draw)); }},
    {"setSignedness", 0, [](Case& c) { c.type.setSignedness(anyOf<NumericType::Signedness>(c, 2)); }},
    {"setSigned", 0, [](Case& c) { c.type.setSigned(c.draw.oneIn(2)); }},
    {"setFractionLength", 0, [](Case& c) { c.type.setFractionLength(c.draw.between(-20, 80)); }},
    {"setFixedExponent", 0, [](Case& c) { c.type.setFixedExponent(c.draw.between(-80, 20)); }},
    {"setSlope", 0,
     [](Case& c) {
         c.type.setSlope(c.draw.of({0.5, 1.0, 3.0, 0.1, 0.0, 1e300, 1e-310}));
     }},
    {"setSlopeAdjustmentFactor", 0,
     [](Case& c) {
         c.type.setSlopeAdjustmentFactor(c.draw.of({1.0, 1.5, 1.999, 2.0, 0.5}));
     }},
    {"setBias", 0,
     [](Case& c) {
         c.type.setBias(c.draw.of({0.0, 0.0, 1.5, -7.0}));
     }},
    {"setScaling", 0, [](Case& c) { c.type.setScaling(anyOf<NumericType::ScalingEnum>(c, 3)); }},
    {"setDataType", 0, [](Case& c) { c.type.setDataType(anyOf<NumericType::DataTypeEnum>(c, 4)); }},
    {"setDataTypeMode", 0,
     [](Case& c) {
         const auto mode = static_cast<NumericType::DataTypeModeEnum>(c.draw.of({0, 1, 2, 3, 4, 4, 5, 5, 6, 7, 8, 9}));
         c.type.setDataTypeMode(mode, c.draw.oneIn(2));
     }},
    {"setDataTypeProps", 0,
     [](Case& c) {
         const NumericType made = c.theme.type(c.draw);
         c.type.setDataTypeProps(made.getDataType(), made.getScaling(), made.getSignedness(), made.getWordLength(),
                                 made.getSlopeAdjustmentFactor(), made.getFixedExponent(), made.getBias());
     }},
    {"setFixedPointProps", 0,
     [](Case& c) {
         const NumericType made = c.theme.type(c.draw);
         c.type.setFixedPointProps(made.isSigned(), made.getWordLength(), made.getSlopeAdjustmentFactor(),
                                   made.getFixedExponent(), made.getBias());
     },
     8},
    {"best precision", 0,
     [](Case& c) {
         const double value = c.draw.anyDouble();
         c.draw.oneIn(2) ? c.type.fxpBestPrecisionExponent(value) : c.type.setBestPrecisionFromMaxAbs(std::fabs(value));
     }},
    {"setBestPrecision", 0,
     [](Case& c) {
         NumericType plain(true, 16, c.draw.between(0, 15));
         c.type.setBestPrecision(hostArray(c.draw, plain, {1, 1 + c.draw.below(4)},
                                           c.draw.of({hvDOUBLE_CLASS, hvINT8_CLASS, hvUINT32_CLASS, hvINT64_CLASS}),
                                           c.draw.oneIn(4))
                                     .get());
     }},
    {"convertSlopeBiasToBinaryPoint", 0,
     [](Case& c) {
         const int lengths[] = {8, 16, 32, 64};
         show(c.out, "  type",
              c.draw.oneIn(2) ? c.type.convertSlopeBiasToBinaryPoint(4, lengths)
                              : c.type.convertSlopeBiasToBinaryPoint(40, nullptr));
     },
     1},
    {"questions", 0,
     [](Case& c) {
         const NumericType made = c.draw.oneIn(2) ? c.theme.type(c.draw) : c.q.getNumericType();
         const char* const name = c.type.getEquivalentVelmarClassName();
         c.out("  questions", c.type == made, c.type.isequal(made), c.type.isequivalent(made),
               made.isequivalent(c.type), c.type.getSlope(), c.type.getFractionLength(), name == nullptr ? "" : name,
               c.type.getSignednessString(), c.type.getDataTypeString(), c.type.canBeConvertedTo(&made));
         c.out("  texts", std::string_view(c.type.tostring("t")), std::string_view(c.type.qpointstr()));
         double lower = 0.0;
         double upper = 0.0;
         attempt(c.out, [&] { c.type.getLowerUpperBoundsAsDouble(lower, upper); });
         c.out("  bounds", lower, upper);
     },
     12},
    {"texts", 0,
     [](Case& c) {
         char buffer[64];
         for (void (NumericType::*const write)(char*) const :
              {&NumericType::getWordLengthString, &NumericType::getFractionLengthString, &NumericType::getSlopeString,
               &NumericType::getBiasString}) {
             (c.type.*write)(buffer);
             c.out("  text", buffer);
         }
         c.type.disp();
     }},
    {"new type", 0, [](Case& c) { c.type.set(c.theme.type(c.draw)); }, 16},
};

Row<Case> fimaths[] = {
    {"new rules", 0, [](Case& c) { c.rules = c.theme.anyRules(c.draw); }, 4},
    {"lengths", 0,
     [](Case& c) {
         const int bits = c.draw.oneIn(8) ? c.draw.of({0, -1, 65535, 65536}) : c.theme.wordLength(c.draw);
         switch (c.draw.below(4)) {
             case 0:
                 c.rules.setProductWordLength(bits);
                 break;
             case 1:
                 c.rules.setMaxProductWordLength(bits);
                 break;
             case 2:
                 c.rules.setSumWordLength(bits);
                 break;
             default:
                 c.rules.setMaxSumWordLength(bits);
         }
     },
     8},
    {"slopes", 0,
     [](Case& c) {
         const double value = c.draw.of({1.0, 0.5, 1.5, 3.0, 2.0, 0.0, -1.0});
         switch (c.draw.below(6)) {
             case 0:
                 c.rules.setProductSlope(value);
                 break;
             case 1:
                 c.rules.setProductSlopeAdjustmentFactor(value);
                 break;
             case 2:
                 c.rules.setSumSlope(value);
                 break;
             case 3:
                 c.rules.setSumSlopeAdjustmentFactor(value);
                 break;
             case 4:
                 c.rules.setSumFormat({c.draw.between(0, 40) * 1.0, value});
                 break;
             default:
                 c.rules.setProductFormat({c.draw.between(0, 40) * 1.0, value});
         }
     }},
    {"questions", 0,
     [](Case& c) {
         const fimath made = c.theme.anyRules(c.draw);
         c.out("  questions", c.rules.isequal(made), c.rules.ispropequal(made), c.rules.isequal(c.theme.rules),
               c.rules.isCStyle(), c.rules.getSumSlope(), c.rules.getProductSlope());
         c.out("  text", std::string_view(c.rules.toString()));
         c.keepText(c.rules.convertToString());
         c.keepText(c.rules.getRoundModeString());
         c.keepText(c.rules.getSumSlopeString());
         c.keepText(c.rules.getProductBiasString());
     },
     8},
    {"disp", 0, [](Case& c) { c.rules.disp(); }, 2},
    {"setCStyle", 0, [](Case& c) { c.rules.setCStyle(c.draw.between(8, 64)); }, 1},
    {"string2Fimath", 0,
     [](Case& c) {
         char* const text = c.rules.convertToString();
         const std::unique_ptr<fimath> back = fimath::string2Fimath(text);
         c.keepText(text);
         show(c.out, "  back", *back);
     },
     2},
};

Row<Case> quantizers[] = {
    {"quantize", 0,
     [](Case& c) {
         number x(c.value(), c.draw.of({52U, 52U, 53U, 64U, 200U}), c.draw.oneIn(4));
         if (c.draw.oneIn(2)) {
             x += number(c.value() / 1024.0, 200, true);
         }
         showAll(c.out, "  value", x);
         showAll(c.out, "  quantized", c.q.quantize(x));
     },
     20},
    {"quantizeArray", 0,
     [](Case& c) {
         number x(c.draw.below(40), c.draw.of({52U, 52U, 53U, 64U, 200U}), number::NumberVector::tag);
         for (std::uint64_t i = 0; i < x.numel(); ++i) {
             x[i].setvalue(c.value());
         }
         x.setIndex(0);
         showAll(c.out, "  quantized", c.q.quantizeArray(x));
     },
     12},
    {"quantize doubles", 0,
     [](Case& c) {
         const std::vector<double> in = valuesFor(c.draw, c.q.getNumericType(), anySpread(c.draw), c.draw.below(300));
         std::vector<double> result(in.size());
         c.q.quantize(in, result);
         c.out("  in", std::span<const double>(in));
         c.out("  out", std::span<const double>(result));
     },
     12},
    {"quantizeThroughWords", 0,
     [](Case& c) {
         const std::vector<double> in = valuesFor(c.draw, c.type, anySpread(c.draw), c.draw.oneIn(20) ? 700 : 30);
         std::vector<double> result(in.size());
         const embedded::RoundModeEnum round = c.draw.rounding();
         quantizeThroughWords(in, result, c.type, round, c.draw.overflow(), c.draw.oneIn(2));
         c.out("  out", std::span<const double>(result));
     },
     8},
    {"quantizeNumeric", 0,
     [](Case& c) {
         c.keep(
             quantizeNumeric(c.q, hostArray(c.draw, c.q.getNumericType(), {1, c.draw.below(20)},
                                            c.draw.of({hvDOUBLE_CLASS, hvSINGLE_CLASS, hvINT16_CLASS}), c.draw.oneIn(3))
                                      .get()));
     },
     6},
    {"wrap", 0,
     [](Case& c) {
         number x(c.value(), c.draw.of({52U, 64U}), false);
         showAll(c.out, "  wrapped", c.draw.oneIn(2) ? c.q.wrap(x) : c.q.uwrap(x));
     }},
    {"setMode", 0,
     [](Case& c) {
         c.q.setMode(c.draw.of({Mode::Double, Mode::Float, Mode::Fixed, Mode::Fixed, Mode::Ufixed, Mode::Single,
                                Mode::None, Mode::Boolean, Mode::ScaledDouble, Mode::UnsignedScaledDouble}));
     }},
    {"setRoundMode", 0, [](Case& c) { c.q.setRoundMode(c.draw.rounding()); }},
    {"setOverflowMode", 0, [](Case& c) { c.q.setOverflowMode(c.draw.overflow()); }},
    {"setFormat", 0,
     [](Case& c) {
         const double bits = c.draw.oneIn(8) ? c.draw.of({0.0, 70000.0, 1e300}) : c.theme.wordLength(c.draw);
         c.q.setFormat({bits, static_cast<double>(c.draw.between(0, 12))});
     }},
    {"setWordlength", 0, [](Case& c) { c.q.setWordlength(c.theme.wordLength(c.draw)); }},
    {"setFractionlength", 0, [](Case& c) { c.q.setFractionlength(c.draw.between(-5, 60)); }},
    {"setExponentlength", 0, [](Case& c) { c.q.setExponentlength(c.draw.between(1, 12)); }, 2},
    {"set type", 0,
     [](Case& c) {
         const embedded::RoundModeEnum round = c.draw.rounding();
         c.q.set(c.type, round, c.draw.overflow(), c.draw.oneIn(2));
     }},
    {"set other", 0, [](Case& c) { c.q.set(c.other, c.draw.oneIn(2)); }},
    {"setNumericType", 0, [](Case& c) { c.q.setNumericType(c.type); }, 6},
    {"=", 0, [](Case& c) { c.q = c.other; }},
    {"copy", 0,
     [](Case& c) {
         const quantizer copy(c.q);
         show(c.out, "  copy", copy);
         show(c.out, "  with type", quantizer(c.q, c.type));
         c.out("  equal", copy.isequal(c.q), c.q.isequal(c.other), c.q.keepsValues());
     }},
    {"texts", 0,
     [](Case& c) {
         const int base = c.draw.of({2, 8, 10, 16});
         number x(c.value(), c.q.getPrecision(), false);
         c.q.quantize(x);
         if (!x.isFinite() || c.q.getWordlength() > 300) {
             return;
         }
         std::string text(static_cast<std::size_t>(c.q.getWordlength()) + 3, '?');
         c.draw.oneIn(3) ? c.q.num2sdec(text.data(), static_cast<int>(text.size()), x)
                         : c.q.num2base(text.data(), static_cast<int>(text.size()), x, base);
         c.out("  text", std::string_view(text));
     }},
    {"base2num", 0,
     [](Case& c) {
         std::string text;
         for (int i = c.draw.between(1, 12); i > 0; --i) {
             text += c.draw.of({'0', '1', '7', 'a', 'F', ' '});
         }
         number x(0.0, std::max(c.q.getPrecision(), 1U), false);
         showAll(c.out, "  number", c.q.base2num(text.c_str(), c.draw.of({2, 8, 16}), x));
     }},
    {"disp", 0,
     [](Case& c) {
         c.q.disp();
         c.q.fidisp();
     },
     2},
    {"logs", 0,
     [](Case& c) {
         c.q.getQlogger().setAlwaysLog(c.draw.oneIn(2));
         c.out("  extremes", c.q.getQlogger().getMaxLogAsRealWorldValue(), c.q.getQlogger().getMinLogAsRealWorldValue(),
               c.q.getQlogger().changeInOverflows(), c.q.getQlogger().changeInUnderflows());
         c.keep(c.q.getQlogger().toHvArrayStruct());
     },
     8},
    {"merge logs", 0,
     [](Case& c) {
         c.other.getQlogger().updateStates(c.q.getQlogger());
         c.q.getQlogger().writeLogMap(filog::getLogMap());
         show(c.out, "  other", c.other.getQlogger());
         showSession(c.out);
     }},
    {"resetlog", 0, [](Case& c) { c.q.initializestates(); }, 2},
};

std::span<Area<Case>> areas() {
    static Area<Case> all[] = {{"types", 4, types}, {"rules", 1, fimaths}, {"quantizers", 8, quantizers}};
    return all;
}

void DescriptionCase::run() {
    for (int steps = draw.between(6, 20); steps > 0; --steps) {
        runStep(*this, areas());
    }
}

}  // namespace

const Kind kDescriptionPrograms = {"descriptions", 12,
                                   [](Draw& draw, Transcript& out) { DescriptionCase(draw, out).run(); },
                                   [](SummaryLine line) { summarizeAreas(areas(), line); }};
