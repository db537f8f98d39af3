// Sums, products, convolutions, quotients, roots, absolute values; whole arrays and current elements.
#include <bit>
#include <cmath>

#include "tests/witness/arrays.h"

namespace {

using Case = ArrayCase;

/// A type for a result.
NumericType target(Case& c) {
    const NumericType type = c.theme.type(c.draw);
    show(c.out, "  type", type);
    return type;
}
fimath rules(Case& c) {
    const fimath made = c.theme.anyRules(c.draw);
    show(c.out, "  rules", made);
    return made;
}

ArrayRow arithmetic[] = {
    {"plus", kPair, [](Case& c) { c.keep(c.a->plus(*c.b)); }, 12},
    {"minus", kPair, [](Case& c) { c.keep(c.a->minus(*c.b)); }, 8},
    {"times", kPair, [](Case& c) { c.keep(c.a->times(*c.b)); }, 12},
    {"mtimes", kInner, [](Case& c) { c.keep(c.a->mtimes(*c.b)); }, 12},
    {"convF", kVectors, [](Case& c) { c.keep(c.a->convF(*c.b)); }},
    {"convS", kVectors, [](Case& c) { c.keep(c.a->convS(*c.b)); }},
    {"convV", kVectors, [](Case& c) { c.keep(c.a->convV(*c.b)); }},
    {"ficonv", kVectors,
     [](Case& c) {
         const std::uint64_t all = c.a->numel() + c.b->numel();
         const std::uint64_t offset = c.draw.below(all);
         const std::uint64_t count = offset + 1 >= all ? 0 : c.draw.below(all - offset);
         const bool isRow = c.draw.oneIn(2);
         c.out("  part", count, offset, isRow);
         if (!c.a->isempty() && !c.b->isempty()) {
             c.keep(c.a->ficonv(*c.b, count, offset, isRow));
         }
     }},
    {"leadingdimension_sum", kOne, [](Case& c) { c.keep(c.a->leadingdimension_sum()); }, 8},
    // Scaled doubles have no bounds, so array code decides by the values whether their sums are exact.
    {"edge of exactness", kOne,
     [](Case& c) {
         const std::uint64_t rows = 9 + c.draw.below(c.draw.oneIn(2) ? 10 : 100);
         const std::uint64_t columns = 1 + c.draw.below(4);
         const NumericType type(NumericType::DataTypeModeEnum::ScaledDoubleBinaryPoint, true, c.draw.between(2, 20),
                                1.0, -c.draw.between(0, 8), 0.0);
         const bool isProduct = c.draw.oneIn(2);
         const fimath rules = c.draw.oneIn(3) ? c.theme.rules : fimath(c.draw.rounding(), c.draw.overflow());
         const auto made = [&](const Sizes& sizes, int bits) {
             const bool isNegative = c.draw.oneIn(2);
             std::vector<double> values(countOf(sizes));
             for (double& value : values) {
                 const std::uint64_t word = (c.draw.bits() | 1ULL << 63U) >> static_cast<unsigned>(64 - bits) | 1U;
                 value = std::ldexp(isNegative ? -static_cast<double>(word) : static_cast<double>(word),
                                    type.getFixedExponent());
             }
             return fi(values.data(), sizes.data(), 2, type, rules, "", true, embedded::OperationTypeEnum::Assignment);
         };
         // The sums then need 53 bits, or 54.
         const int bits = 54 - static_cast<int>(std::bit_width(rows)) + (c.draw.oneIn(4) ? -1 : 0);
         const fi left = made(isProduct ? Sizes{columns, rows} : Sizes{rows, columns}, isProduct ? bits / 2 : bits);
         isProduct ? c.keep(left.mtimes(made({rows, 1 + c.draw.below(3)}, bits - bits / 2)))
                   : c.keep(left.leadingdimension_sum());
     },
     8},
    {"over", kPair, [](Case& c) { c.keep(c.a->over(*c.b, target(c))); }, 6},
    {"getNumericTypeForAddOp", kPair, [](Case& c) { show(c.out, "  sum", c.a->getNumericTypeForAddOp(*c.b)); }, 1},
    {"getProductTypeForMpyOp", kPair,
     [](Case& c) {
         const NumericType& product = c.a->getProductTypeForMpyOp(*c.b);
         show(c.out, "  product", product);
         show(c.out, "  sum", c.a->getSumTypeForMpyOp(*c.b, product));
         show(c.out, "  matrix sum", c.a->getSumNumericTypeForMatrixMultiply(*c.b, product));
     },
     1},
    {"getNumericTypeForLeadingDimensionSum", kOne,
     [](Case& c) { show(c.out, "  sum", c.a->getNumericTypeForLeadingDimensionSum()); }, 1},
    {"checks", kPair,
     [](Case& c) {
         c.out("  same", c.a->isSameSize(*c.b), c.a->hasScaleOf(*c.b), c.a->isFinite());
         for (const auto check : {fi::errorIfMixedMath, fi::errorIfFimathMismatch, fi::errorIfMathMismatch,
                                  fi::errorIfScaledDoubleSlopeBiasMath}) {
             attempt(c.out, [&] { check(*c.a, *c.b); });
         }
         attempt(c.out, [&] { c.a->errorIfScaledDouble("name"); });
         attempt(c.out, [&] { c.a->checkElementwiseSize(*c.b); });
         attempt(c.out, [&] { c.out("  type", fi::getDataTypeForMathOp(*c.a, *c.b)); });
     },
     1},
    {"initializeSumRegister", kRestructures,
     [](Case& c) {
         c.draw.oneIn(2) ? c.a->initializeSumRegister(rules(c))
                         : c.a->initializeSumRegister(target(c), rules(c), c.draw.of({0U, 0U, 52U, 64U, 100U}));
     },
     2},
    {"initializeProductRegister", kRestructures,
     [](Case& c) {
         const NumericType sum = target(c);
         c.draw.oneIn(2)
             ? c.a->initializeProductRegister(rules(c), c.draw.of({0U, 64U}))
             : c.a->initializeProductRegister(sum, target(c), rules(c), c.draw.of({0U, 0U, 52U, 64U, 100U}));
     },
     2},
};

ArrayRow elements[] = {
    {"+", kPair | kElement, [](Case& c) { show(c.out, "  register", *c.a + *c.b); }},
    {"-", kPair | kElement, [](Case& c) { show(c.out, "  register", *c.a - *c.b); }},
    {"*", kPair | kElement, [](Case& c) { show(c.out, "  register", *c.a * *c.b); }},
    {"+=", kPair | kElement, [](Case& c) { *c.a += *c.b; }},
    {"-=", kPair | kElement, [](Case& c) { *c.a -= *c.b; }},
    {"*=", kPair | kElement, [](Case& c) { *c.a *= *c.b; }},
    // The steps of generated loops: an element of each operand, a register, a store to a third array.
    {"loop", kPair | kElement,
     [](Case& c) {
         const std::unique_ptr<fi> result = c.makeArray({c.a->getM(), c.a->getN()});
         const int operation = c.draw.between(0, 2);
         c.out("  operation", operation);
         attempt(c.out, [&] {
             for (std::uint64_t i = 0; i < std::min<std::uint64_t>(result->numel(), 12); ++i) {
                 c.a->setIndex(i);
                 c.b->setIndex(c.b->isscalar() ? 0 : i % c.b->numel());
                 result->setIndex(i);
                 *result = operation == 0 ? *c.a + *c.b : operation == 1 ? *c.a - *c.b : *c.a * *c.b;
             }
         });
         show(c.out, "  result", *result);
     }},
    // Existing registers are kept, or made again if something has changed.
    {"again", kPair | kElement | kRestructures,
     [](Case& c) {
         const auto all = [&] {
             attempt(c.out, [&] { show(c.out, "  sum", *c.a + *c.b); });
             attempt(c.out, [&] { show(c.out, "  product", *c.a * *c.b); });
         };
         all();
         switch (c.draw.below(8)) {
             case 0:
                 c.a->setRoundMode(c.draw.rounding());
                 break;
             case 1:
                 c.a->setOverflowMode(c.draw.overflow());
                 break;
             case 2:
                 c.a->setProductWordLength(c.theme.wordLength(c.draw));
                 break;
             case 3:
                 c.a->setSumWordLength(c.theme.wordLength(c.draw));
                 break;
             case 4:
                 c.a->setCastBeforeSum(c.draw.oneIn(2));
                 break;
             case 5:
                 c.a->setFimath(c.theme.anyRules(c.draw));
                 break;
             case 6:
                 c.a->setFractionLength(c.draw.between(-4, 20));
                 break;
             default:
                 c.a->setWordLength(c.theme.wordLength(c.draw));
         }
         all();
     },
     8},
    {"accumulate", kPair | kElement,
     [](Case& c) {
         const std::unique_ptr<fi> sum = c.makeArray({1, 1});
         attempt(c.out, [&] {
             for (std::uint64_t i = 0; i < std::min<std::uint64_t>(c.a->numel(), 8); ++i) {
                 c.a->setIndex(i);
                 c.b->setIndex(i % c.b->numel());
                 *sum += *c.a * *c.b;
             }
         });
         show(c.out, "  sum", *sum);
     }},
    {"= fi", kPair | kElement, [](Case& c) { *c.a = *c.b; }, 8},
    {"= double", kElement,
     [](Case& c) {
         const double value = valueFor(c.draw, c.a->getNumericType(), anySpread(c.draw));
         c.out("  value", value);
         *c.a = value;
     }},
    {"= any double", kElement | kRestructures, [](Case& c) { *c.a = c.draw.between(-1000, 1000) / 16.0; }},
    {"= int", kElement | kRestructures, [](Case& c) { *c.a = c.draw.between(-300, 300); }, 2},
    {"setvalue fi", kSameType | kElement, [](Case& c) { c.a->setvalue(*c.b); }, 2},
    {"setvalue double", kElement,
     [](Case& c) { c.a->setvalue(valueFor(c.draw, c.a->getNumericType(), anySpread(c.draw))); }, 2},
    {"compare", kPair | kElement,
     [](Case& c) {
         c.out("  compared", *c.a == *c.b, *c.a != *c.b, *c.a<*c.b, *c.a <= *c.b, *c.a> * c.b, *c.a >= *c.b);
     }},
    {"abs", kElement,
     [](Case& c) {
         number magnitude(0.0, c.draw.of({52U, 64U, 100U}), false);
         c.a->abs(magnitude);
         showAll(c.out, "  magnitude", magnitude);
     },
     2},
    {"getAdjustedReal", kPair | kElement, [](Case& c) { showAll(c.out, "  adjusted", c.a->getAdjustedReal(*c.b)); }, 2},
    {"real-world", kElement,
     [](Case& c) {
         const double value = c.draw.between(-99, 99) / 8.0;
         c.out("  values", c.a->adjustReal(value), c.a->removeSlopeAdjustmentFactorBias(value),
               c.a->addSlopeAdjustmentFactorBias(value));
     },
     1},
    {"slope factors", kPair | kElement,
     [](Case& c) {
         const std::unique_ptr<fi> result = c.makeArray({1, 1});
         c.a->initSlopeBiasCorrectionFactorsForEquals(*c.b);
         c.out("  needed", c.a->needToInitSlopeBiasCorrectionFactorsForPlus(*c.b, *result));
         c.a->initSlopeBiasCorrectionFactorsForPlus(*c.b, *result);
         c.a->initSlopeCorrectionFactorForTimes(1.25, *result);
         c.a->initParamsForWorstCaseSlopeBiasTimes(*c.b);
     },
     1},
    {"bitset", kElement | kFinite,
     [](Case& c) { c.a->bitset(c.draw.between(0, c.a->getWordLength() + 1), c.draw.oneIn(2)); }, 2},
    {"current indices", kElement, [](Case& c) { c.a->setIndex(c.place()); }, 2},
};

ArrayRow roots[] = {
    {"sqrtBisection", kReal,
     [](Case& c) {
         // Roots need values that aren't negative.
         const std::unique_ptr<fi> squares(c.a->isreal() && !c.draw.oneIn(6) ? c.a->realabs() : new fi(*c.a));
         c.draw.oneIn(2) ? c.keep(squares->sqrtBisection()) : c.keep(squares->sqrtBisection(target(c), rules(c)));
     },
     3},
    {"sqrtBisection by parts", kReal | kFinite,
     [](Case& c) {
         const std::unique_ptr<fi> squares(c.a->isreal() ? c.a->realabs() : new fi(*c.a));
         show(c.out, "  type", squares->getNumericTypeForSqrtBisection());
         c.draw.oneIn(2) ? c.keep(squares->sqrtBisection(target(c))) : c.keep(squares->sqrtBisection(rules(c)));
     },
     2},
    {"realabs", kReal, [](Case& c) { c.keep(c.a->realabs()); }},
    {"realabs to a type", kReal, [](Case& c) { c.keep(c.a->realabs(target(c))); }, 2},
    {"realabs by rules", kReal, [](Case& c) { c.keep(c.a->realabs(rules(c))); }, 2},
    {"realabs by both", kReal, [](Case& c) { c.keep(c.a->realabs(target(c), rules(c))); }, 2},
};

}  // namespace

std::span<ArrayRow> arithmeticRows() {
    return arithmetic;
}
std::span<ArrayRow> elementRows() {
    return elements;
}
std::span<ArrayRow> rootRows() {
    return roots;
}
