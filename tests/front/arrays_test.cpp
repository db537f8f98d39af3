// Joining, reducing and dividing against models: subscripts, whole numbers and exact rationals.
#include <algorithm>
#include <cmath>

#include "tests/front/front_support.h"

namespace {

class Arrays : public FrontTest {
 protected:
    struct Word {
        bool isSigned;
        int bits;
        int fraction;
    };
    static std::string text(const Word& word) {
        return (word.isSigned ? "s" : "u") + std::to_string(word.bits) + "," + std::to_string(word.fraction);
    }
    /// The value in the word, by the rule, saturated.
    static double kept(const Rational& value, const Word& word, Rounding rule) {
        const Integer most = Integer(twoTo(word.bits - (word.isSigned ? 1 : 0))) - 1;
        const Integer least = word.isSigned ? Integer(-most - 1) : Integer(0);
        const Integer stored = std::clamp(rounded(scaled(value, word.fraction), rule), least, most);
        return scaled(Rational(stored), -word.fraction).get_d();
    }
    static Word anyWord(Random& random) { return {random.oneIn(2), random.between(3, 20), random.between(-4, 20)}; }
    Value inWord(const Value& values, const Word& word, Rounding rule = Rounding::nearest) {
        return call("fi", {values, word.isSigned, word.bits, word.fraction, "RoundMode", nameOf(rule)});
    }
    static std::vector<double> whole(Random& random, std::size_t count, int low, int high) {
        std::vector<double> values(count);
        for (double& value : values) value = random.between(low, high);
        return values;
    }
};

TEST_F(Arrays, JoinedArraysHaveTheElementsInTheTypeOfTheFirst) {
    Random random(6001);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE("seed " + std::to_string(random.seed()) + " round " + std::to_string(round));
        const std::size_t joint = static_cast<std::size_t>(random.between(0, 2));
        std::vector<std::size_t> dims = {1, 1, 1};
        for (std::size_t& size : dims) size = static_cast<std::size_t>(random.between(1, 3));
        const int count = random.between(1, 4);
        const int decider = random.between(0, count - 1);
        const Word word = anyWord(random);
        const Rounding rule = random.pick(kRoundings);
        Arguments parts;
        std::vector<std::pair<Model, Model>> models;
        std::size_t length = 0;
        bool isComplex = false;
        for (int i = 0; i < count; ++i) {
            dims[joint] = static_cast<std::size_t>(random.between(0, 3));
            length += dims[joint];
            Model real(trimmed(dims));
            Model imaginary(real.dims);
            const bool hasParts = random.oneIn(4) && !real.elements.empty();
            for (double& value : real.elements) value = random.real(-6, 6, 20);
            for (double& value : imaginary.elements) value = hasParts ? random.real(-6, 6, 20) : 0.0;
            Value part = real.value();
            if (hasParts) {
                part = call("fi", {part, "DataType", "double"});
                part = call("complex", {part, imaginary.value()}).get("double");
            }
            if (i == decider) {
                part = inWord(part, word, rule);
            } else if (i > decider && random.oneIn(2)) {
                part = inWord(part, anyWord(random));
            }
            if (part.isObject()) {
                real.elements = part.get("double").toDoubles();
                imaginary.elements = part.get("double").toImaginaries();
                imaginary.elements.resize(real.elements.size());
            }
            isComplex = isComplex || hasParts;
            parts.push_back(part);
            models.emplace_back(real, imaginary);
        }
        dims[joint] = length;
        Model real(dims);
        Model imaginary(dims);
        std::size_t start = 0;
        for (auto& [re, im] : models) {
            re.dims.resize(3, 1);
            im.dims.resize(3, 1);
            re.forEach([&](std::vector<std::size_t> place) {
                const double x = re.at(place);
                const double y = im.at(place);
                place[joint] += start;
                real.at(place) = kept(x, word, rule);
                imaginary.at(place) = kept(y, word, rule);
            });
            start += re.dims[joint];
        }
        parts.insert(parts.begin(), Value(static_cast<double>(joint + 1)));
        const Value joined = call("cat", parts);
        EXPECT_EQ(typeOf(joined), text(word));
        EXPECT_EQ(joined.get("RoundMode").toText(), nameOf(rule));
        const Value values = joined.get("double");
        EXPECT_EQ(values.dimensions(), trimmed(dims));
        EXPECT_EQ(values.toDoubles(), real.elements);
        EXPECT_EQ(values.isComplex(), isComplex);
        EXPECT_EQ(values.toImaginaries(), isComplex ? imaginary.elements : std::vector<double>{});
    }
}

TEST_F(Arrays, ReductionsTakeAnyDimension) {
    Random random(6002);
    const Word word = {true, 8, 1};
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE("seed " + std::to_string(random.seed()) + " round " + std::to_string(round));
        std::vector<std::size_t> dims(static_cast<std::size_t>(random.between(2, 4)));
        for (std::size_t& size : dims) size = static_cast<std::size_t>(random.between(random.oneIn(8) ? 0 : 1, 4));
        dims = trimmed(dims);
        Model model(dims);
        for (double& value : model.elements) value = random.between(-9, 9) / 2.0;
        const Value array = inWord(model.value(), word);
        const bool isTold = random.oneIn(2);
        const auto longest = std::ranges::find_if(dims, [](std::size_t size) { return size != 1; });
        const std::size_t along = isTold
                                      ? static_cast<std::size_t>(random.between(0, 4))
                                      : (longest == dims.end() ? 0 : static_cast<std::size_t>(longest - dims.begin()));
        if (!isTold && dims == std::vector<std::size_t>{0, 0}) continue;
        dims.resize(std::max(dims.size(), along + 1), 1);
        model.dims = dims;
        const std::size_t length = dims[along];
        dims[along] = 1;
        Model sums(dims);
        dims[along] = length == 0 ? 0 : 1;
        Model most(dims);
        Model least(dims);
        Model mostAt(dims);
        Model leastAt(dims);
        most.forEach([&](std::vector<std::size_t> place) {
            for (std::size_t i = 0; i < length; ++i) {
                std::vector<std::size_t> from = place;
                from[along] = i;
                const double value = model.at(from);
                sums.at(place) += value;
                if (i == 0 || value > most.at(place)) {
                    most.at(place) = value;
                    mostAt.at(place) = static_cast<double>(i + 1);
                }
                if (i == 0 || value < least.at(place)) {
                    least.at(place) = value;
                    leastAt.at(place) = static_cast<double>(i + 1);
                }
            }
        });
        const auto expect = [](const Value& value, const Model& expected) {
            EXPECT_EQ(value.dimensions(), trimmed(expected.dims));
            EXPECT_EQ(value.toDoubles(), expected.elements);
        };
        const Value dimension = isTold ? Value(static_cast<double>(along + 1)) : Value();
        const Value sum = call("sum", {array, dimension});
        expect(sum.get("double"), sums);
        const int growth = model.elements.empty() ? 0 : static_cast<int>(std::ceil(std::log2(length)));
        EXPECT_EQ(typeOf(sum), text({true, 8 + growth, 1}));
        const auto maxima = session.call(2, "max", {array, Value(), dimension});
        expect(maxima[0].get("double"), most);
        expect(maxima[1], mostAt);
        const auto minima = session.call(2, "min", {array, Value(), dimension});
        expect(minima[0].get("double"), least);
        expect(minima[1], leastAt);
        EXPECT_EQ(typeOf(minima[0]), text(word));
    }
    EXPECT_EQ(call("sum", {inWord(Value(), word)}).get("double"), Value(0));
}

TEST_F(Arrays, QuotientsAreRoundedOnceIntoTheTypeOfTheirOperands) {
    Random random(6003);
    for (int round = 0; round < 2000; ++round) {
        SCOPED_TRACE("seed " + std::to_string(random.seed()) + " round " + std::to_string(round));
        const Rounding rule = random.pick(kRoundings);
        const Word wordA = anyWord(random);
        const Value a = inWord(random.real(-6, 12, 20), wordA, rule);
        Word word = wordA;
        Value b;
        if (random.oneIn(2)) {
            const Word wordB = anyWord(random);
            b = inWord(random.real(-6, 12, 20), wordB, rule);
            if (b.get("double").toDouble() == 0.0) continue;
            word = {wordA.isSigned || wordB.isSigned, std::max(wordA.bits, wordB.bits),
                    wordA.fraction - wordB.fraction};
        } else {
            const double value = random.real(-9, 9, 2);
            b = value;
            word = {wordA.isSigned || value < 0, wordA.bits, wordA.fraction + std::ilogb(value)};
        }
        const double divisor = b.isObject() ? b.get("double").toDouble() : b.toDouble();
        const Value quotient = call(random.oneIn(2) ? "rdivide" : "mrdivide", {a, b});
        EXPECT_EQ(typeOf(quotient), text(word));
        EXPECT_EQ(quotient.get("double").toDouble(),
                  kept(Rational(a.get("double").toDouble()) / Rational(divisor), word, rule));
    }
    const struct {
        Arguments operands;
        const char* type;
        const char* why;
    } rows[] = {
        {{inWord(1, {true, 8, 3}), call("fi", {2, "DataType", "double"})}, "Double", ""},
        {{call("fi", {2, "DataType", "single"}), 3}, "Single", ""},
        {{call("fi", {2, 1, 8, 3, "DataType", "ScaledDouble"}), inWord(1, {false, 9, 5})},
         "Scaled double: binary point scaling",
         ""},
        {{12, inWord(1, {true, 8, 3})}, "s8,0", "12 is 96 / 2^3"},
        {{inWord(1, {false, 8, 3}), Value(std::vector<double>{0, 100, 0.1})}, "u8,-1", "0.1 is above 2^-4"},
        {{inWord(1, {false, 8, 3}), 0}, "u8,3", "no magnitude"},
        {{inWord(1, {true, 8, 3}), call("fi", {1, "DataType", "boolean"})}, "s8,3", "one bit"},
    };
    for (const auto& [operands, type, why] : rows) {
        const Value found = call("computeDivideType", operands);
        EXPECT_EQ(typeOf(call("rdivide", operands)), type) << why;
        EXPECT_EQ(typeOf(call("fi", {1, found})), type) << why;
    }
}

TEST_F(Arrays, MagnitudesOfComplexElementsAreRootsOfSquares) {
    Random random(6004);
    for (const Rounding rule : {Rounding::floor, Rounding::ceil, Rounding::nearest}) {
        for (int round = 0; round < 100; ++round) {
            const int bits = random.between(4, 12);
            const int fraction = random.between(-3, 12);
            const int most = (1 << (bits - 1)) - 1;
            const long x = random.between(-most - 1, most);
            const long y = random.between(-most - 1, most);
            const Value z = inWord(Value::complex(std::ldexp(x, -fraction), std::ldexp(y, -fraction)),
                                   {true, bits, fraction}, rule);
            const long square = x * x + y * y;
            long root = 0;
            while (root < most && (root + 1) * (root + 1) <= square) ++root;
            const long below = square - root * root;
            const long above = (root + 1) * (root + 1) - square;
            if (root < most && below > 0 && (rule == Rounding::ceil || (rule == Rounding::nearest && above < below))) {
                ++root;
            }
            const Value magnitude = call("abs", {z});
            EXPECT_EQ(magnitude.get("double"), Value(std::ldexp(root, -fraction)))
                << nameOf(rule) << " " << x << " " << y << " of " << bits << " bits";
            EXPECT_EQ(typeOf(magnitude), text({true, bits, fraction}));
        }
    }
    const Value z = inWord(Value::complex(-3, 4), {true, 8, 3});
    const Value unspecified =
        made("embedded.numerictype", {{"Signedness", "Auto"}, {"WordLength", 8}, {"FractionLength", 0}});
    EXPECT_EQ(typeOf(call("abs", {z, unspecified})), "u8,0");
    EXPECT_EQ(typeOf(call("abs", {inWord(-3, {true, 8, 3}), unspecified})), "u8,0");
    const Value floorRules = rules({{"RoundMode", "floor"}});
    EXPECT_EQ(call("abs", {inWord(Value::complex(1, 1), {true, 8, 3}), type(true, 8, 1), floorRules}).get("double"),
              Value(1));
    const double far = std::ldexp(1.0, 700);
    EXPECT_EQ(call("abs", {call("fi", {Value::complex(3 * far, 4 * far), "DataType", "double"})}).get("double"),
              Value(5 * far));
    EXPECT_EQ(front::sqrt(session, inWord(9, {true, 16, 4}), type(true, 8, 1)).get("double"), Value(3));
}

TEST_F(Arrays, ConvolutionsHaveTheirThreeShapes) {
    Random random(6005);
    for (int round = 0; round < 60; ++round) {
        const std::vector<double> a = whole(random, static_cast<std::size_t>(random.between(1, 6)), -7, 7);
        const std::vector<double> b = whole(random, static_cast<std::size_t>(random.between(1, 6)), -7, 7);
        std::vector<double> full(a.size() + b.size() - 1);
        for (std::size_t i = 0; i < a.size(); ++i) {
            for (std::size_t j = 0; j < b.size(); ++j) full[i + j] += a[i] * b[j];
        }
        const auto from = [&full](std::size_t start, std::size_t count) {
            const auto first = full.begin() + static_cast<std::ptrdiff_t>(start);
            return std::vector<double>(first, first + static_cast<std::ptrdiff_t>(count));
        };
        const Value left = inWord(a, {true, 4, 0});
        EXPECT_EQ(valuesOf(call("conv", {left, b})), full);
        EXPECT_EQ(valuesOf(call("conv", {left, b, "same"})), from(b.size() / 2, a.size()));
        EXPECT_EQ(valuesOf(call("conv", {left, inWord(b, {true, 4, 0}), "valid"})),
                  from(b.size() - 1, a.size() < b.size() ? 0 : a.size() - b.size() + 1));
    }
}

TEST_F(Arrays, SmallOnesAndMistakes) {
    const Value a = inWord(Value::matrix(2, 2, std::vector<double>{1, 2, 3, 4}), {true, 8, 3});
    EXPECT_EQ(call("max", {2.5, a}).get("double"), Value::matrix(2, 2, std::vector<double>{2.5, 2.5, 3, 4}));
    EXPECT_EQ(call("min", {a, inWord(2, {true, 8, 3})}).get("double"),
              Value::matrix(2, 2, std::vector<double>{1, 2, 2, 2}));
    EXPECT_EQ(call("complex", {1, inWord(0.5, {true, 8, 3})}).get("double"), Value::complex(1, 0.5));
    const Value turned = call("complex", {inWord(2, {true, 8, 3})});
    EXPECT_EQ(turned.get("double"), Value::complex(2, 0));
    EXPECT_EQ(call("complex", {turned}).get("double"), Value::complex(2, 0));
    EXPECT_EQ(call("todoublecell", {"x", a}), Value::cells(std::vector<Value>{"x", a.get("double")}));
    EXPECT_EQ(call("firstobj", {1, a, turned}), a);
    EXPECT_EQ(call("emptyfirstobj", {1, a}).get("double"), Value());
    EXPECT_EQ(call("vertcat", {Value(), inWord(Value(), {true, 8, 3})}).get("double"), Value());
    const Value alone = call("horzcat", {a});
    session.assign(alone, {hostref::paren(1)}, 7);
    EXPECT_EQ(a.get("double").toDouble(), 1) << "a result is an array of its own";

    const struct {
        const char* name;
        Arguments arguments;
        const char* id;
        int resultCount = 1;
    } rows[] = {
        {"horzcat", {a, 1}, "fixedpoint:fi:cat:dimensionMismatch"},
        {"vertcat", {a, Value::matrix(1, 0, std::vector<double>{})}, "fixedpoint:fi:cat:dimensionMismatch"},
        {"vertcat", {a, "ab"}, "fixedpoint:fi:constructor:numeric"},
        {"cat", {a, a}, "fixedpoint:fi:dimension:mustBePositiveInteger"},
        {"cat", {1025, a}, "fixedpoint:fi:dimension:mustBePositiveInteger"},
        {"sum", {a, 1.5}, "fixedpoint:fi:dimension:mustBePositiveInteger"},
        {"sum", {a, std::nan("")}, "fixedpoint:fi:dimension:mustBePositiveInteger"},
        {"max", {a, Value(), 0}, "fixedpoint:fi:dimension:mustBePositiveInteger"},
        {"max", {a, a, 1}, "fixedpoint:fi:max:arraysAndDimension"},
        {"max", {a, a}, "VELMAR:tooManyOutputs", 2},
        {"min", {a, inWord(1, {true, 9, 3})}, "fixedpoint:fi:min:numerictypemismatch"},
        {"rdivide", {a}, "VELMAR:notEnoughInputs"},
        {"rdivide", {a, a, a}, "VELMAR:tooManyInputs"},
        {"rdivide", {a, "x"}, "fixedpoint:fi:setBestPrecision:mustbenumeric"},
        {"mrdivide", {a, a}, "fixedpoint:fi:mrdivide:scalarDivisor"},
        {"abs", {a, 3}, "fixedpoint:fi:abs:badArgument"},
        {"abs", {a, rules({}), a.get("numerictype")}, "fixedpoint:fi:abs:badArgument"},
        {"conv", {a, std::vector<double>{1, 2}}, "fixedpoint:fi:conv:vectors"},
        {"conv", {turned, turned, "half"}, "fixedpoint:fi:conv:shape"},
        {"conv", {turned, turned, 1}, "VELMAR:array:notChar"},
    };
    for (const auto& row : rows) EXPECT_EQ(idOf(row.name, row.arguments, row.resultCount), row.id) << row.name;
    EXPECT_EQ(thrownBy([&] { front::horzcat(session, Arguments{1, 2}); }).id, "fixedpoint:fi:firstobj:noFi");
}

TEST_F(Arrays, ASessionShowsValuesTypeRulesAndTag) {
    const auto shown = [this](const Value& array) {
        session.takePrinted();
        session.display(array);
        return session.takePrinted();
    };
    const Value a = inWord(std::vector<double>{1, -2.5}, {true, 8, 3});
    a.set("Tag", "gains");
    const std::string values = shown(a.get("double"));
    const std::string rest =
        "\n\n          DataTypeMode: Fixed-point: binary point scaling\n            Signedness: Signed\n"
        "            WordLength: 8\n        FractionLength: 3\n\n\n             RoundMode: nearest\n"
        "          OverflowMode: saturate\n           ProductMode: FullPrecision\n  MaxProductWordLength: 128\n"
        "               SumMode: FullPrecision\n      MaxSumWordLength: 128\n\n\n                   Tag: ";
    EXPECT_EQ(shown(a), values + rest + "gains");
    EXPECT_EQ(shown(inWord(Value(), {true, 8, 3})), "     []\n" + rest);
}

TEST_F(Arrays, OverflowsOfJoiningAreReported) {
    logging(true);
    const Value a = inWord(1, {true, 8, 3});
    session.takeWarnings();
    call("horzcat", {a, 100, -100});
    std::vector<Warning> warnings = session.takeWarnings();
    ASSERT_FALSE(warnings.empty());
    EXPECT_EQ(warnings[0], (Warning{"fi:overflow", "1 overflow occurred in the fi concatenation operation."}));
}

}  // namespace
