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
    static std::size_t size(Random& random, int low, int high) {
        return static_cast<std::size_t>(random.between(low, high));
    }
    static void expect(const Value& array, const Model& expected) {
        EXPECT_EQ(array.dimensions(), trimmed(expected.dims));
        EXPECT_EQ(Model(array, expected.dims).elements, expected.elements);
    }
};

TEST_F(Arrays, JoinedArraysHaveTheElementsInTheTypeOfTheFirst) {
    Random random(6001);
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE("seed " + std::to_string(random.seed()) + " round " + std::to_string(round));
        const std::size_t joint = size(random, 0, 2);
        Sizes dims = {size(random, 1, 3), size(random, 1, 3), size(random, 1, 3)};
        const int count = random.between(1, 4);
        const int decider = random.between(0, count - 1);
        const Word word = anyWord(random);
        const Rounding rule = random.pick(kRoundings);
        Arguments arguments = {static_cast<double>(joint + 1)};
        std::vector<Model> parts;
        std::size_t length = 0;
        bool isComplex = false;
        for (int i = 0; i < count; ++i) {
            dims[joint] = size(random, 0, 3);
            Model part(dims);
            const bool hasParts = random.oneIn(4) && !part.elements.empty();
            for (auto& z : part.elements) {
                z = {random.real(-6, 6, 20), hasParts ? random.real(-6, 6, 20) : 0.0};
            }
            Value value = part.value(hasParts);
            if (i == decider || (i > decider && random.oneIn(2))) {
                value = inWord(value, i == decider ? word : anyWord(random), rule);
                part = Model(value.get("double"), dims);
            }
            length += dims[joint];
            isComplex = isComplex || hasParts;
            arguments.push_back(value);
            parts.push_back(part);
        }
        dims[joint] = length;
        Model expected(dims);
        std::size_t start = 0;
        for (Model& part : parts) {
            part.forEach([&](Sizes place) {
                const std::complex<double> z = part.at(place);
                place[joint] += start;
                expected.at(place) = {kept(z.real(), word, rule), kept(z.imag(), word, rule)};
            });
            start += part.dims[joint];
        }
        const Value joined = call("cat", arguments);
        expect(joined.get("double"), expected);
        EXPECT_EQ(joined.get("double").isComplex(), isComplex);
        EXPECT_EQ(typeOf(joined), text(word));
        EXPECT_EQ(joined.get("RoundMode").toText(), nameOf(rule));
    }
}

TEST_F(Arrays, ReductionsTakeAnyDimension) {
    Random random(6002);
    const Word word = {true, 8, 1};
    for (int round = 0; round < 400; ++round) {
        SCOPED_TRACE("seed " + std::to_string(random.seed()) + " round " + std::to_string(round));
        Sizes dims(size(random, 2, 4));
        for (std::size_t& each : dims) {
            each = size(random, random.oneIn(8) ? 0 : 1, 4);
        }
        dims = trimmed(dims);
        // Without a dimension the first that isn't 1 is taken.
        const auto longer =
            static_cast<std::size_t>(std::ranges::find_if(dims, [](auto n) { return n != 1; }) - dims.begin());
        const bool isTold = random.oneIn(2) || dims == Sizes{0, 0};
        const std::size_t along = isTold ? size(random, 0, 4) : longer % dims.size();
        const Value dimension = isTold ? Value(static_cast<double>(along + 1)) : Value();
        dims.resize(std::max(dims.size(), along + 1), 1);
        Model model(dims);
        for (auto& value : model.elements) {
            value = random.between(-9, 9) / 2.0;
        }
        const Value array = inWord(model.value(), word);
        const std::size_t length = dims[along];
        const auto inColumn = [&](Sizes place, std::size_t i) {
            place[along] = i;
            return model.at(place).real();
        };
        dims[along] = 1;
        Model sums(dims);
        sums.forEach([&](const Sizes& place) {
            for (std::size_t i = 0; i < length; ++i) {
                sums.at(place) += inColumn(place, i);
            }
        });
        const Value sum = call("sum", {array, dimension});
        expect(sum.get("double"), sums);
        const int growth = model.elements.empty() ? 0 : static_cast<int>(std::ceil(std::log2(length)));
        EXPECT_EQ(typeOf(sum), text({true, 8 + growth, 1}));
        dims[along] = length == 0 ? 0 : 1;
        for (const double sign : {1.0, -1.0}) {
            Model values(dims);
            Model places(dims);
            values.forEach([&](const Sizes& place) {
                std::size_t best = 0;
                for (std::size_t i = 1; i < length; ++i) {
                    if (sign * inColumn(place, i) > sign * inColumn(place, best)) {
                        best = i;
                    }
                }
                values.at(place) = inColumn(place, best);
                places.at(place) = static_cast<double>(best + 1);
            });
            const auto found = session.call(2, sign > 0 ? "max" : "min", {array, Value(), dimension});
            expect(found[0].get("double"), values);
            expect(found[1], places);
            EXPECT_EQ(typeOf(found[0]), text(word));
        }
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
            if (b.get("double").toDouble() == 0.0) {
                continue;
            }
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
    // 12 is 96 / 2^3; 0.1 is above 2^-4; a boolean is one bit.
    const Value eight = inWord(1, {true, 8, 3});
    const Value unsignedEight = inWord(1, {false, 8, 3});
    const std::pair<Arguments, const char*> rows[] = {
        {{eight, call("fi", {2, "DataType", "double"})}, "Double"},
        {{call("fi", {2, "DataType", "single"}), 3}, "Single"},
        {{call("fi", {2, "DataType", "ScaledDouble"}), unsignedEight}, "Scaled double: binary point scaling"},
        {{12, eight}, "s8,0"},
        {{unsignedEight, Value(Numbers{0, 100, 0.1})}, "u8,-1"},
        {{unsignedEight, 0}, "u8,3"},
        {{eight, call("fi", {1, "DataType", "boolean"})}, "s8,3"},
    };
    for (const auto& [operands, type] : rows) {
        EXPECT_EQ(typeOf(call("rdivide", operands)), type);
        EXPECT_EQ(typeOf(call("fi", {1, call("computeDivideType", operands)})), type);
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
            while (root < most && (root + 1) * (root + 1) <= square) {
                ++root;
            }
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
    const Value three = inWord(Numbers{1, 2, 3}, {true, 4, 0});
    const Numbers four = {1, -1, 2, 4};
    const Numbers full = {1, 1, 3, 5, 14, 12};
    EXPECT_EQ(valuesOf(call("conv", {three, four})), full);
    EXPECT_EQ(valuesOf(call("conv", {three, four, "same"})), (Numbers{3, 5, 14}));
    EXPECT_EQ(valuesOf(call("conv", {four, three, "same"})), (Numbers{1, 3, 5, 14}));
    EXPECT_EQ(valuesOf(call("conv", {inWord(four, {true, 4, 0}), three, "valid"})), (Numbers{3, 5}));
    EXPECT_EQ(valuesOf(call("conv", {three, four, "valid"})), Numbers());
}

TEST_F(Arrays, SmallOnesAndMistakes) {
    const auto square = [](const std::vector<double>& elements) { return Value::matrix(2, 2, elements); };
    const Value a = inWord(square({1, 2, 3, 4}), {true, 8, 3});
    const Value turned = call("complex", {inWord(2, {true, 8, 3})});
    const Value nothing = inWord(Value::matrix(0, 3, Numbers{}), {true, 8, 3});
    const struct {
        const char* name;
        Arguments arguments;
        Value values;
    } results[] = {
        {"max", {2.5, a}, square({2.5, 2.5, 3, 4})},
        {"min", {a, inWord(2, {true, 8, 3})}, square({1, 2, 2, 2})},
        {"complex", {1, inWord(0.5, {true, 8, 3})}, Value::complex(1, 0.5)},
        {"complex", {turned}, Value::complex(2, 0)},
        {"emptyfirstobj", {1, a}, Value()},
        {"vertcat", {Value(), inWord(Value(), {true, 8, 3})}, Value()},
        {"reshape", {a, Numbers{1, 4}}, Numbers{1, 2, 3, 4}},
        {"reshape", {a, 4, 1, 1}, Value::matrix(4, 1, Numbers{1, 2, 3, 4})},
        {"reshape", {a, 1, Value()}, Numbers{1, 2, 3, 4}},
        {"reshape", {nothing, Value(), 5}, Value::matrix(0, 5, Numbers{})},
    };
    for (const auto& row : results) {
        EXPECT_EQ(call(row.name, row.arguments).get("double"), row.values) << row.name;
    }
    EXPECT_EQ(call("todoublecell", {"x", a}), Value::cells(Values{"x", a.get("double")}));
    EXPECT_EQ(call("firstobj", {1, a, turned}), a);
    session.assign(call("horzcat", {a}), {hostref::paren(1)}, 7);
    EXPECT_EQ(a.get("double").toDouble(), 1) << "a result is an array of its own";

    const Numbers two = {1, 2};
    const struct {
        const char* name;
        std::vector<Arguments> calls;
        const char* id;
        int resultCount = 1;
    } mistakes[] = {
        {"horzcat", {{a, 1}, {a, nothing}}, "fixedpoint:fi:cat:dimensionMismatch"},
        {"vertcat", {{a, "ab"}}, "fixedpoint:fi:constructor:numeric"},
        {"cat", {{a, a}, {0, a}, {1025, a}}, "fixedpoint:fi:dimension:mustBePositiveInteger"},
        {"sum", {{a, 1.5}, {a, std::nan("")}, {a, two}}, "fixedpoint:fi:dimension:mustBePositiveInteger"},
        {"max", {{a, a, 1}}, "fixedpoint:fi:max:arraysAndDimension"},
        {"max", {{a, a}}, "VELMAR:tooManyOutputs", 2},
        {"min", {{a, inWord(1, {true, 9, 3})}}, "fixedpoint:fi:min:numerictypemismatch"},
        {"rdivide", {{a}}, "VELMAR:notEnoughInputs"},
        {"rdivide", {{a, a, a}}, "VELMAR:tooManyInputs"},
        {"rdivide", {{a, "x"}}, "fixedpoint:fi:setBestPrecision:mustbenumeric"},
        {"mrdivide", {{a, a}}, "fixedpoint:fi:mrdivide:scalarDivisor"},
        {"abs", {{a, 3}, {a, rules({}), a.get("numerictype")}}, "fixedpoint:fi:abs:badArgument"},
        {"conv", {{a, two}}, "fixedpoint:fi:conv:vectors"},
        {"conv", {{turned, turned, "half"}}, "fixedpoint:fi:conv:shape"},
        {"reshape",
         {{a, two}, {a, 3, Value()}, {a, 0, Value()}, {a, 0x1p32, 0x1p32}},
         "fixedpoint:fi:reshape:countMismatch"},
        {"reshape", {{a, 4}, {a, Value(), Value()}, {a, 4, 1, -1}, {a, two, 1}}, "fixedpoint:fi:reshape:badSize"},
    };
    for (const auto& [name, calls, id, resultCount] : mistakes) {
        for (const Arguments& arguments : calls) {
            EXPECT_EQ(idOf(name, arguments, resultCount), id) << name;
        }
    }
    EXPECT_EQ(thrownBy([&] { front::horzcat(session, Arguments{1, 2}); }).id, "fixedpoint:fi:firstobj:noFi");
}

TEST_F(Arrays, ASessionShowsValuesTypeRulesAndTag) {
    const auto shown = [this](const Value& array) {
        session.takePrinted();
        session.display(array);
        return session.takePrinted();
    };
    const Value a = inWord(Numbers{1, -2.5}, {true, 8, 3});
    a.set("Tag", "gains");
    const std::string values = shown(a.get("double"));
    const std::string rest =
        "\n\n          DataTypeMode: Fixed-point: binary point scaling\n            Signedness: Signed\n"
        "            WordLength: 8\n        FractionLength: 3\n\n\n             RoundMode: nearest\n"
        "          OverflowMode: saturate\n           ProductMode: FullPrecision\n  MaxProductWordLength: 128\n"
        "               SumMode: FullPrecision\n      MaxSumWordLength: 128\n\n\n                   Tag: ";
    EXPECT_EQ(shown(a), values + rest + "gains\n");
    EXPECT_EQ(call("disp", {a}), Value());
    EXPECT_EQ(shown(inWord(Value(), {true, 8, 3})), "     []\n" + rest + "\n");
    EXPECT_EQ(reports(), "");
}

TEST_F(Arrays, AMapOfLogsCountsAnOverflowOnceAndWarningsNameTheTag) {
    logging(true);
    session.setFeature("FiTagLogging", 1);
    const Value big = inWord(100, {true, 32, 3});
    const Value a = call("fi", {Numbers{100, 1}, 1, 8, 3, "Tag", "gains"});
    const std::vector<Warning> one(1,
                                   {"fi:overflow", "1 overflow occurred in the fi assignment operation.\nTag: gains"});
    EXPECT_EQ(session.takeWarnings(), one);
    const struct {
        const char* name;
        Arguments arguments;
        const char* kept;  // tags and overflows of what is in the map when the result has gone
        const char* warned = "";
    } rows[] = {
        {"fi", {a}, "|0"},
        {"fi", {big, 1, 8, 3}, "|1", "1 assignment"},
        {"fi", {big, 1, 8, 3, "Tag", "x"}, "x|1", "1 assignment x"},
        {"fi", {big, 1, 8}, "|0"},
        {"fi", {100, 1, 8, 3, "Tag", "x"}, "x|1", "1 assignment x"},
        // A result repeats the log of what it was made of, here one overflow.
        {"horzcat", {a}, "gains|1"},
        {"horzcat", {a, big, big}, "gains|3", "1 concatenation gains, 1 concatenation gains"},
        {"horzcat", {a, 100, 100}, "gains|1 |2", "1 concatenation gains, 1 concatenation gains"},
        {"reshape", {a, 2, 1}, "gains|1"},
        {"max", {a, Value(), 2}, "gains|0"},
        {"and", {a, 1}, ""},
        {"sum", {a, 2}, "gains|0"},
        {"sum",
         {call("fi", {a, "SumMode", "SpecifyPrecision", "SumWordLength", 4, "SumFractionLength", 0, "Tag", "s"}), 2},
         "s|2",
         "2 sum s"},
        {"complex", {a, 100}, "gains|1 |1", "1 complex gains"},
    };
    for (const auto& [name, arguments, kept, warned] : rows) {
        session.takeWarnings();
        session.callStatic("embedded.qlogger", "SetLogType", {1});
        call(name, arguments);
        session.callStatic("embedded.qlogger", "SetLogType", {0});
        std::string text;
        const Value logs = session.callStatic("embedded.filog", "getlogs");
        for (std::size_t i = 0; i < logs.numberOfElements(); ++i) {
            const Value log = logs.cell(i);
            text +=
                (i == 0 ? "" : " ") + log.get("Tag").toText() + "|" + std::to_string(integer(log.get("noverflows")));
        }
        EXPECT_EQ(text, kept) << name;
        std::string told;
        for (const Warning& warning : session.takeWarnings()) {
            // "1 overflow occurred in the fi sum operation.", and the line of the host.
            std::istringstream words(warning.text);
            std::string count, word, operation, tag;
            words >> count >> word >> word >> word >> word >> word >> operation >> word >> word >> tag;
            told += told.empty() ? "" : ", ";
            told.append(count).append(" ").append(operation).append(tag.empty() ? "" : " ").append(tag);
        }
        EXPECT_EQ(told, warned) << name;
        session.callStatic("embedded.filog", "clearlogs");
    }
    session.setFeature("FiTagLogging", 0);
    // The line is the host's, for what overflows alone, and goes by the array that is written.
    const Value untagged = inWord(1, {true, 8, 3});
    session.takeWarnings();
    a.set("data", Numbers{100, 1});
    session.call("copydata", {untagged, big});
    session.index(a, {hostref::dot("DataTypeMode")});
    const std::vector<Warning> warnings = session.takeWarnings();
    ASSERT_EQ(warnings.size(), 3U);
    EXPECT_EQ(warnings[0], one[0]);
    EXPECT_EQ(warnings[1].text, "1 overflow occurred in the fi assignment operation.");
    EXPECT_EQ(warnings[2].text.find("Tag"), std::string::npos);
}

TEST_F(Arrays, OverflowsOfJoiningAreReportedAndLogged) {
    logging(true);
    const Value a = inWord(1, {true, 8, 3});
    session.takeWarnings();
    const Value joined = call("horzcat", {a, 100, 2, -100, inWord(20, {true, 16, 3})});
    const std::vector<Warning> warnings(3, {"fi:overflow", "1 overflow occurred in the fi concatenation operation."});
    EXPECT_EQ(session.takeWarnings(), warnings);
    EXPECT_EQ(valuesOf(joined), (Numbers{1, 15.875, 2, -16, 15.875}));
    EXPECT_EQ(joined.get("noverflows"), Value(1)) << "those of host arrays are in the logs of these";
}

}  // namespace
