// Subscripts on arrays of class "fi", against the same subscripts on plain arrays, and what only a `fi` does.
#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <random>
#include <sstream>
#include <utility>

#include "host/reference/functions.h"
#include "tests/binding/session_support.h"

namespace {

using hostref::colon;
using hostref::dot;
using hostref::paren;
using hostref::Subscript;

class FiIndexing : public BindingTest {
 protected:
    static Value arrayOf(const std::vector<std::size_t>& dims, double first, bool isComplex) {
        hvArrayOwner array(
            hvCreateNumericArray(dims.size(), dims.data(), hvDOUBLE_CLASS, isComplex ? hvCOMPLEX : hvREAL));
        for (std::size_t i = 0; i < hvGetNumberOfElements(array.get()); ++i) {
            hvGetPr(array.get())[i] = first + static_cast<double>(i);
            if (isComplex) {
                hvGetPi(array.get())[i] = -first - static_cast<double>(i);
            }
        }
        return Value(std::move(array));
    }
    static Value row(const std::vector<double>& elements) { return Value::matrix(1, elements.size(), elements); }
    static Value mask(std::initializer_list<int> bits) {
        hvArrayOwner made(hvCreateLogicalMatrix(1, bits.size()));
        std::copy(bits.begin(), bits.end(), hvGetTypedData<hvLogical>(made.get()).begin());
        return Value(std::move(made));
    }
    Value ints(const Value& value, int wordLength = 16) { return fi(value, type(true, wordLength, 0)); }
    Value doubles(const Value& array) { return session.call("double", {array}); }
};

/// While it exists, the functions of the host's subscripts count as a program's, so the host reads all subscripts.
class HostsRoad {
 public:
    HostsRoad() {
        for (const char* const name : {"subsref", "subsasgn"}) {
            auto& own = mOwn.emplace_back(name, hostref::Function()).second;
            own = hostref::registerFunction(name, {});
            hostref::registerFunction(name, [this, own](int resultCount, auto arguments) {
                ++mCalls;
                return own(resultCount, arguments);
            });
        }
    }
    ~HostsRoad() {
        for (const auto& [name, function] : mOwn) {
            hostref::registerFunction(name, function);
        }
    }
    int calls() const { return mCalls; }

 private:
    std::vector<std::pair<const char*, hostref::Function>> mOwn;
    int mCalls = 0;
};

/// Subscripts for an array: mostly good ones, which may make it grow.
Subscript randomSubscripts(const std::vector<std::size_t>& dims, const std::function<std::size_t(std::size_t)>& upTo) {
    Subscript step = paren();
    const auto one = [&](std::size_t extent) -> Value {
        Numbers numbers;
        const std::size_t first = 1 + upTo(extent - 1);
        switch (upTo(17)) {
            case 0:
            case 1:
            case 2:
                return colon();
            case 3:
                return static_cast<double>(first);
            case 4:
                return static_cast<double>(1 + extent + upTo(1));
            case 5:  // some added behind the last one, or a row
                return Value(Numbers{static_cast<double>(extent + 1), static_cast<double>(extent + 2 + upTo(1))});
            case 6:
                return Value(Numbers(upTo(2), 1.0));
            case 7:
            case 8:
                for (std::size_t k = upTo(3); k > 0; --k) {
                    numbers.push_back(static_cast<double>(1 + upTo(extent)));
                }
                return Value(numbers);
            case 9:
                for (std::size_t k = extent; k > 0; --k) {
                    numbers.push_back(static_cast<double>(k));
                }
                return Value(numbers);
            case 10: {
                hvArrayOwner made(hvCreateLogicalMatrix(1, extent));
                std::ranges::generate(hvGetTypedData<hvLogical>(made.get()), [&] { return hvLogical{upTo(1) == 0}; });
                return Value(std::move(made));
            }
            case 11: {
                const Value odd[] = {0,
                                     1.5,
                                     NAN,
                                     -1,
                                     HUGE_VAL,
                                     Value::complex(1, 0),
                                     "x",
                                     "::",
                                     "",
                                     Value(),
                                     Value::cells(Values{1}),
                                     Value(Numbers{1, NAN}),
                                     Value(Numbers{1, 2.5}),
                                     1e15};
                return odd[upTo(std::size(odd) - 1)];
            }
            default:
                for (std::size_t k = 1; k <= extent; ++k) {
                    if (upTo(2) > 0) {
                        numbers.push_back(static_cast<double>(k));
                    }
                }
                return upTo(3) == 0 ? Value::matrix(numbers.size(), 1, numbers) : Value(numbers);
        }
    };
    const std::size_t all = std::accumulate(dims.begin(), dims.end(), std::size_t{1}, std::multiplies<>());
    const std::size_t count = upTo(5) > 0 ? dims.size() + upTo(8) / 8 : upTo(dims.size());
    if (count == 1 && upTo(2) == 0) {
        hvArrayOwner made(hvCreateLogicalArray(dims.size(), dims.data()));
        std::ranges::generate(hvGetTypedData<hvLogical>(made.get()), [&] { return hvLogical{upTo(1) == 0}; });
        step.indices.emplace_back(std::move(made));
    }
    for (std::size_t d = step.indices.size(); d < count; ++d) {
        step.indices.push_back(one(count == 1 ? all : d < dims.size() ? dims[d] : 1));
    }
    return step;
}

// The host's road is the judge of what the library reads itself. The plain arrays' subscripts have a model of their own
// (tests/host), so they are a second judge, except for one or two scalars, which a fi array reads in another way.
TEST_F(FiIndexing, SubscriptsMeanTheSameAsOnTheHostsRoadAndOnPlainArrays) {
    const char* const scaledDouble = "Scaled double: binary point scaling";
    for (unsigned seed = 1; seed <= 4000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto upTo = [&](std::size_t most) { return std::uniform_int_distribution<std::size_t>(0, most)(random); };
        std::vector<std::size_t> dims(2 + upTo(5) / 4);
        std::ranges::generate(dims, [&] { return 1 + upTo(3); });
        if (upTo(9) == 0) {
            dims = {upTo(1) == 0 ? std::size_t{1} : 530, upTo(2)};
        }
        const bool isScaled = upTo(9) == 0;
        const bool isComplex = !isScaled && upTo(2) == 0;
        const bool isExact = !isScaled && upTo(1) == 0;
        const Value plain = arrayOf(dims, isExact ? 1.0 : -5.0, isComplex);
        const Value numeric = isScaled ? steps(1).get("numerictype")
                              : !isExact && upTo(3) == 0
                                  ? made("embedded.numerictype",
                                         {{"DataTypeMode", scaledDouble}, {"WordLength", 6}, {"FractionLength", 0}})
                                  : type(true,
                                         upTo(3) == 0 ? 200
                                         : isExact    ? 16
                                                      : 6,
                                         0);
        const Subscript step = randomSubscripts(dims, upTo);
        bool scalars = step.indices.size() <= 2;
        for (const Value& index : step.indices) {
            scalars &= !index.isObject() && hvIsNumeric(index.array()) && hvIsScalar(index.array());
        }
        const auto read = [&](const Value& subject) { return session.index(subject, {step}); };
        Value values = isExact ? 77.0 : 0.25;
        if (upTo(2) > 0) {
            Value shape;
            const Raised raised = thrownBy([&] { shape = read(plain); });
            values = raised.id.empty() ? arrayOf(shape.dimensions(), 20, !isScaled && upTo(3) == 0) : row({1, 2});
        }
        const int rightWord = upTo(1) == 0 ? 0 : upTo(1) == 0 ? 12 : 70;
        const bool isSame = upTo(3) == 0;
        const auto write = [&](const Value& subject) {
            const Value right = isSame ? fi(values, numeric) : rightWord > 0 ? ints(values, rightWord) : values;
            return session.assign(subject, {step}, subject.isObject() ? right : values);
        };
        const auto erase = [&](const Value& subject) { return session.assign(subject, {step}, Value()); };
        const bool logs = upTo(1) == 0;

        /// Everything that a user sees of an action on a fresh array.
        const auto outcome = [&](auto&& action) {
            logging(logs);
            const Value subject = fi(plain, numeric);
            session.call(0, "resetgloballog", {subject});
            session.takeWarnings();
            Value result;
            const Raised raised = thrownBy([&] { result = action(subject); });
            std::ostringstream seen;
            seen << raised << (result == subject ? " in place " : " ") << reports() << assignmentTotals(subject);
            for (const Value& array : {subject, result}) {
                if (!array.isObject()) {
                    continue;
                }
                const Value elements = doubles(array);
                seen << typeOf(array) << testing::PrintToString(elements.dimensions()) << hvIsComplex(elements.array());
                for (const double element : elements.toDoubles()) {
                    seen << " " << element;
                }
                for (const double element : elements.toImaginaries()) {
                    seen << " " << element;
                }
                for (const char* const counter : {"noverflows", "nunderflows", "noperations", "maxlog", "minlog"}) {
                    seen << " " << counter << session.call(counter, {array}).toDouble();
                }
            }
            logging(false);
            const bool isGood = raised.id.empty() && result.isObject();
            return std::pair(seen.str(), isGood ? doubles(result) : Value());
        };
        const auto compare = [&](auto&& action, bool isOnPlain) {
            const auto got = outcome(action);
            {
                const HostsRoad road;
                EXPECT_EQ(got.first, outcome(action).first);
                EXPECT_TRUE(scalars || road.calls() == 1);
            }
            Value expected;
            const Raised raised = isOnPlain ? thrownBy([&] { expected = action(plain); }) : Raised{"not asked", ""};
            if (raised.id.empty()) {
                EXPECT_EQ(got.second.dimensions(), expected.dimensions());
                EXPECT_EQ(got.second.toDoubles(), expected.toDoubles());
            }
        };
        compare(read, isExact && !scalars);
        compare(erase, isExact && !scalars);
        compare(write, isExact && !scalars);
    }
}

TEST_F(FiIndexing, LongPlansAreCheckedThroughoutAndTruncated) {
    std::mt19937 random(11);
    const auto upTo = [&](std::size_t most) { return std::uniform_int_distribution<std::size_t>(0, most)(random); };
    for (const int wordLength : {16, 80}) {
        for (const bool isComplex : {false, true}) {
            const Value array = ints(arrayOf({3, 700}, 0, isComplex), wordLength);
            Numbers plan(1300);
            for (double& place : plan) {
                place = static_cast<double>(upTo(2099));
            }
            const auto taken = [&] { return session.call("subscriptedreference", {array, row(plan)}); };
            EXPECT_EQ(doubles(taken()).toDoubles(), plan);
            Numbers whole = plan;
            for (const std::size_t k : {upTo(400), 401 + upTo(400), 802 + upTo(400)}) {
                whole[k] = k < 802 ? plan[k] : 0.0;
                plan[k] = k < 802 ? plan[k] + 0.999 : -0.5;
            }
            const Value got = doubles(taken());
            EXPECT_EQ(got.toDoubles(), whole);
            EXPECT_EQ(hvIsComplex(got.array()), isComplex);
            if (isComplex) {
                const auto imaginary = hvGetTypedImagData<double>(got.array());
                for (std::size_t k = 0; k < plan.size(); ++k) {
                    EXPECT_EQ(imaginary[k], -whole[k]);
                }
            }
            for (const double wrong : {-1.0, 2100.0, double{NAN}, -double{HUGE_VAL}, 0x1p64}) {
                const std::size_t k = upTo(1299);
                const double right = std::exchange(plan[k], wrong);
                EXPECT_EQ(thrownBy(taken).id, "VELMAR:badsubscript") << wrong << " at " << k;
                plan[k] = right;
            }
        }
    }
}

TEST_F(FiIndexing, OneElementIsFoundByItsPositionAlone) {
    const Value array = ints(arrayOf({3, 2}, 1, false));
    const auto at = [&](const Subscript& step) { return valuesOf(session.index(array, {step})); };
    EXPECT_EQ(at(paren(3)), Numbers{3});
    EXPECT_EQ(at(paren(2, 2)), Numbers{5});
    EXPECT_EQ(at(paren(5, 1)), Numbers{5});  // the row isn't looked at
    EXPECT_EQ(at(paren(2.5)), Numbers{2});
    EXPECT_EQ(at(paren(1, 1, 1)), Numbers{1});
    EXPECT_EQ(at(paren(true)), Numbers{1});
    const Raised bad{"fixedpoint:fi:badsubscript",
                     "Subscript indices must either be real positive integers or logicals."};
    const Raised beyond{"fixedpoint:fi:badindex", "Index exceeds matrix dimensions."};
    EXPECT_EQ(thrownBy([&] { at(paren(0.5)); }), bad);
    EXPECT_EQ(thrownBy([&] { at(paren(0)); }), bad);
    EXPECT_EQ(thrownBy([&] { at(paren(NAN)); }), bad);
    EXPECT_EQ(thrownBy([&] { at(paren(7)); }), beyond);
    EXPECT_EQ(thrownBy([&] { at(paren(7, 1)); }), beyond);
    EXPECT_EQ(thrownBy([&] { at(paren(HUGE_VAL)); }), beyond);
    EXPECT_EQ(
        thrownBy([&] {
            session.index(array, {paren(1), dot("WordLength")});
        }),
        (Raised{"fixedpoint:fi:subsref:parenlast", "Error: ()-indexing must appear last in an index expression."}));
    EXPECT_EQ(session.index(array, {dot("WordLength")}).toDouble(), 16.0);
    EXPECT_EQ(session.index(array, {dot("double"), paren(2, 1)}).toDouble(), 2.0);

    const Value wide = fi(0.5, type(true, 16, 14), rules({{"RoundMode", "floor"}}));
    const Value element = session.index(wide, {paren(1)});
    EXPECT_EQ(typeOf(element), "s16,14");
    EXPECT_EQ(element.get("RoundMode").toText(), "floor");
}

TEST_F(FiIndexing, AssignmentInRangeChangesTheObjectItself) {
    const Value array = ints(arrayOf({1, 3}, 1, false));
    const auto assign = [&](const Subscript& step, const Value& value) { return session.assign(array, {step}, value); };
    EXPECT_TRUE(assign(paren(2), 9) == array);
    EXPECT_TRUE(assign(paren(0.5), 8) == array);  // truncated to the first
    EXPECT_TRUE(assign(paren(1, 3), fi(7.5, type(true, 16, 4))) == array);
    EXPECT_EQ(valuesOf(array), (Numbers{8, 9, 8}));
    EXPECT_TRUE(assign(paren(row({1, 2})), row({5, 6})) == array);
    EXPECT_TRUE(assign(paren(colon()), 4) == array);
    EXPECT_TRUE(assign(paren(1), "a") == array);
    EXPECT_EQ(valuesOf(array), (Numbers{97, 4, 4}));
    assign(paren(2), Value::complex(1, -2));
    EXPECT_EQ(doubles(array), Value::matrix(1, 3, Numbers{97, 1, 4}, Numbers{0, -2, 0}));
    assign(paren(2), 5);
    EXPECT_EQ(doubles(array).toImaginaries(), (Numbers{0, 0, 0}));
    EXPECT_FALSE(assign(paren(5), 1) == array);
    EXPECT_TRUE(session.assign(array, {dot("Tag")}, "t") == array);
    EXPECT_EQ(array.get("Tag").toText(), "t");

    // An array put into itself is taken as it was.
    const Value turned = ints(row({1, 2, 3}));
    session.assign(turned, {paren(row({3, 2, 1}))}, turned);
    EXPECT_EQ(valuesOf(turned), (Numbers{3, 2, 1}));

    const Value scaled = made(
        "embedded.numerictype",
        {{"DataTypeMode", "Fixed-point: slope and bias scaling"}, {"WordLength", 8}, {"Slope", 0.75}, {"Bias", 1.5}});
    const Value biased = fi(row({3, 4.5}), scaled);
    session.assign(biased, {paren(2)}, 6);
    session.assign(biased, {paren(4)}, 9);
    EXPECT_EQ(valuesOf(biased), (Numbers{3, 6}));
    EXPECT_EQ(thrownBy([&] { session.assign(biased, {paren(1)}, Value::complex(1, 1)); }).id,
              "fixedpoint:fi:nocomplexslopebias");
    EXPECT_EQ(thrownBy([&] { session.assign(biased, {paren(5)}, ints(Value::complex(1, 1))); }),
              (Raised{"fixedpoint:fi:noopleadingtocomplexslopebias",
                      "All complex FI objects created by Tolvane Kit operations must have an integer power of 2 "
                      "slope, and a bias of 0."}));
    EXPECT_EQ(valuesOf(biased), (Numbers{3, 6}));
}

TEST_F(FiIndexing, GrowthFillsWithZerosAndKeepsTypeAndRules) {
    const Value array = fi(row({1, 2}), type(true, 8, 2), rules({{"RoundMode", "floor"}}));
    const Value longer = session.assign(array, {paren(5)}, 1.99);
    EXPECT_EQ(valuesOf(longer), (Numbers{1, 2, 0, 0, 1.75}));
    EXPECT_EQ(valuesOf(array), (Numbers{1, 2}));
    EXPECT_EQ(typeOf(longer), "s8,2");
    EXPECT_EQ(longer.get("RoundMode").toText(), "floor");
    const Value taller = session.assign(array, {paren(2, 3)}, 1);
    EXPECT_EQ(doubles(taller), Value::matrix(2, 3, Numbers{1, 0, 2, 0, 0, 1}));
    const Value fromNothing = session.assign(Value(), {paren(1, 2)}, fi(1.5, type(false, 9, 1)));
    EXPECT_EQ(valuesOf(fromNothing), (Numbers{0, 1.5}));
    EXPECT_EQ(typeOf(fromNothing), "u9,1");
}

TEST_F(FiIndexing, WrongAssignmentsAreErrors) {
    const Value array = ints(row({1, 2, 3}));
    const auto assign = [&](const Subscript& step, const Value& value) {
        return thrownBy([&] { session.assign(array, {step}, value); });
    };
    const Raised mismatch{"fixedpoint:fi:subsasgn:index_assign_element_count_mismatch",
                          "In an assignment  A(I) = B, the number of elements in B and I must be the same."};
    EXPECT_EQ(assign(paren(1), row({1, 2})), mismatch);
    EXPECT_EQ(assign(paren(1), ints(row({1, 2}))), mismatch);
    EXPECT_EQ(assign(paren(9), Value()), (Raised{"fixedpoint:fi:subsasgn:index_to_remove_exceeds_matrix_dimensions",
                                                 "Index of element to remove exceeds matrix dimensions."}));
    EXPECT_EQ(assign(paren(9), ints(Value())).id, "fixedpoint:fi:subsasgn:index_to_remove_exceeds_matrix_dimensions");
    EXPECT_EQ(assign(paren(-1), 1).id, "fixedpoint:fi:badsubscript");
    EXPECT_EQ(assign(paren(NAN), 1).id, "VELMAR:badsubscript");
    EXPECT_EQ(assign(paren(1), Value::cells(Values{1})),
              (Raised{"fixedpoint:fi:subsasgn:rhsOfUnsupportedType",
                      "The operand on the right hand side of operator '=' in the subscripted assignment operation must "
                      "belong to a type that can be cast into a FI object."}));
    EXPECT_EQ(assign(paren(1), NAN).id, "fixedpoint:nofixednan");
    EXPECT_EQ(assign(paren(row({1, 2})), row({1, 2, 3})).id, "VELMAR:subs:countMismatch");
    EXPECT_EQ(assign(paren(colon(), 9, 0), 1).id, "VELMAR:subs:badSubscript");
    EXPECT_EQ(
        thrownBy([&] {
            session.assign(array, {paren(1), dot("x")}, 1);
        }),
        (Raised{"fixedpoint:fi:subsasgn:parenlast", "Subscripted indexing must appear last in an index expression."}));
    EXPECT_EQ(thrownBy([&] { session.assign(array, {dot("nothing")}, 1); }).id, "VELMAR:class:unknownProperty");
    EXPECT_EQ(refusal("subscriptedreference", {array, "x"}),
              (Raised{"fixedpoint:fi:subsref:double_index", "Index argument must be double."}));
    for (const double place : {-1.0, 3.0, 1e300, double{NAN}}) {
        EXPECT_EQ(idOf("subscriptedreference", {array, place}), "VELMAR:badsubscript");
        EXPECT_EQ(idOf("subscriptedgrowassignment", {array, place - 1.5, array}),
                  place == 3.0 || place == -1.0 ? "" : "VELMAR:badsubscript");
    }
    EXPECT_EQ(idOf("subscriptedreference", {ints(Value()), -0.5}), "VELMAR:badsubscript");
    EXPECT_EQ(valuesOf(array), (Numbers{1, 2, 3}));
}

TEST_F(FiIndexing, DeletionKeepsTheRestInItsType) {
    const Value square = ints(Value::matrix(2, 2, Numbers{1, 2, 3, 4}));
    EXPECT_EQ(doubles(session.assign(square, {paren(1, colon())}, Value())), row({2, 4}));
    EXPECT_EQ(doubles(session.assign(square, {paren(2)}, Value())), row({1, 3, 4}));
    EXPECT_EQ(doubles(session.assign(square, {paren(2)}, ints(Value()))), row({1, 3, 4}));
    EXPECT_EQ(thrownBy([&] { session.assign(square, {paren(1, 1)}, Value()); }).id, "VELMAR:subs:badDeletion");
    EXPECT_EQ(valuesOf(square), (Numbers{1, 2, 3, 4}));
}

TEST_F(FiIndexing, EveryRoadRefusesWhatDataRefusesBeforeAnythingMoves) {
    using Road = std::function<void(const Value& array, const Value& one, const Value& pair)>;
    const auto assigning = [&](const Subscript& step, bool isPair) -> Road {
        return [=, this](const Value& array, const Value& one, const Value& pair) {
            session.assign(array, {step}, isPair ? pair : one);
        };
    };
    const std::pair<const char*, Road> roads[] = {
        {"(2)", assigning(paren(2), false)},
        {"(1, 2)", assigning(paren(1, 2), false)},
        {"(:)", assigning(paren(colon()), false)},
        {"([1 2])", assigning(paren(row({1, 2})), true)},
        {"(5)", assigning(paren(5), false)},
        {"(2, 4)", assigning(paren(2, 4), false)},
        {"([5 6])", assigning(paren(row({5, 6})), true)},
        {"set_element",
         [&](const Value& array, const Value& one, const Value&) {
             const bool isNumber = !one.isObject() && !hvIsComplex(one.array());
             session.call(0, "set_element", {array, 2, isNumber || one.isObject() ? one : fi(one, type("Double"))});
         }},
        {"copydata",
         [&](const Value& array, const Value&, const Value& pair) {
             session.call(0, "copydata", {array, pair.isObject() ? pair : fi(pair, type("Double"))});
         }},
        {"subscriptedgrowassignment",
         [&](const Value& array, const Value&, const Value& pair) {
             session.call("subscriptedgrowassignment",
                          {array, row({1, -1, -2}), pair.isObject() ? pair : fi(pair, type("Double"))});
         }},
        {"toeplitz",
         [&](const Value& array, const Value&, const Value& pair) {
             session.call("toeplitz", {array, pair});
         }},
        {"hankel",
         [&](const Value& array, const Value&, const Value& pair) {
             session.call("hankel", {array, pair});
         }},
    };
    const std::pair<const char*, Value> bads[] = {{"NaN", double{NAN}},
                                                  {"Inf", double{HUGE_VAL}},
                                                  {"-Inf", -double{HUGE_VAL}},
                                                  {"complex", Value::complex(1, 1)},
                                                  {"complex NaN", Value::complex(1, NAN)}};
    logging(true);
    for (const char* const mode :
         {"Fixed-point: binary point scaling", "Scaled double: binary point scaling", "Boolean", "Double"}) {
        for (const auto& [badName, bad] : bads) {
            const bool isComplex = hvIsComplex(bad.array());
            const double re = bad.toDoubles()[0];
            const Value pair =
                isComplex ? Value::matrix(1, 2, Numbers{1, re}, Numbers{0, bad.toImaginaries()[0]}) : row({1, re});
            const auto array = [&] { return fi(row({1, 0, 1}), type(mode)); };
            const Raised wanted = thrownBy([&, &value = bad] { array().set("data", value); });
            const Value retyped = fi(pair, type("Double"));
            EXPECT_EQ(raisedBy([&] { setInternally(retyped, "numerictype", type(mode).interface()); }), wanted);
            for (const auto& [name, road] : roads) {
                for (const bool isObject : {true, false}) {
                    SCOPED_TRACE(testing::Message() << mode << " " << badName << " " << name << " " << isObject);
                    const Value target = array();
                    const Value before = doubles(target);
                    const long operations = count("noperations", target);
                    session.takeWarnings();
                    const Raised raised = thrownBy([&, &go = road, &one = bad] {
                        isObject ? go(target, fi(one, type("Double")), fi(pair, type("Double")))
                                 : go(target, one, pair);
                    });
                    EXPECT_EQ(raised, wanted);
                    if (!wanted.id.empty()) {
                        EXPECT_EQ(doubles(target), before);
                        EXPECT_EQ(count("noperations", target), operations);
                        EXPECT_EQ(reports(), "");
                    }
                }
            }
        }
    }
    // Words beyond doubles are no infinities.
    const Value wide = session.call("pow2", {fi(1, type(true, 1200, 0)), 1040});
    EXPECT_EQ(thrownBy([&] { session.assign(fi(row({1, 2}), type(true, 1200, 0)), {paren(2)}, wide); }), Raised{});
    EXPECT_EQ(refusal("set_element", {fi(1, type(true, 1200, 0)), 1, wide}, 0), Raised{});
}

TEST_F(FiIndexing, AnArrayReportsNewValuesAndAnAliasNothing) {
    const Value fixed = type(true, 4, 0);
    const Value scaled =
        made("embedded.numerictype",
             {{"DataTypeMode", "Scaled double: binary point scaling"}, {"WordLength", 4}, {"FractionLength", 0}});
    const Value wide = fi(row({50, 0.25}), type("Double"));
    struct Row {
        const char* why;
        Subscript step;
        Value right;
        long overflows;
        long underflows;
        long operations[2] = {};  // of a new array, with the three of its making; a kept scaled double counts two
    };
    const Row rows[] = {
        {"a number", paren(5), 100, 1, 0, {9, 13}},
        {"a number by row and column", paren(2, 4), 100, 1, 0, {9, 11}},
        {"numbers", paren(row({5, 6})), row({100, 0.25}), 1, 1, {10, 13}},
        {"an object", paren(9), session.index(wide, {paren(1)}), 1, 0, {7, 10}},
        {"objects", paren(row({5, 6})), wide, 1, 1, {8, 11}},
        {"an element less", paren(2), Value(), 0, 0, {3, 3}},
        {"a number in place", paren(3), 100, 1, 0},
        {"a number that fits", paren(3), 1, 0, 0},
        {"numbers in place", paren(row({1, 3})), row({100, 0.25}), 1, 1},
        {"an object's element", paren(1), session.index(wide, {paren(1)}), 1, 0},
        {"an object's elements", paren(row({1, 3})), wide, 1, 1},
    };
    logging(true);
    for (const Row& row : rows) {
        for (const bool isScaled : {false, true}) {
            for (const double second : {2.0, 50.0}) {
                SCOPED_TRACE(testing::Message() << row.why << " " << isScaled << " " << second);
                const Value alias = fi(Numbers{1, second, 3}, isScaled ? scaled : fixed);
                session.call(0, "resetgloballog", {alias});
                const Value grown = session.assign(alias, {row.step}, row.right);
                const long overflows = row.overflows + (second > 7 ? 1 : 0);
                const auto told = [](const char* kind, long count) {
                    return count == 0 ? std::string()
                                      : std::to_string(count) + " " + kind + (count > 1 ? "s" : "") + " in assignment";
                };
                const std::string both = overflows > 0 && row.underflows > 0 ? ", " : "";
                EXPECT_EQ(reports(), told("overflow", overflows) + both + told("underflow", row.underflows));
                EXPECT_EQ(count("noverflows", grown), overflows);
                EXPECT_EQ(count("nunderflows", grown), row.underflows);
                if (const long operations = row.operations[isScaled ? 1 : 0]; operations > 0) {
                    EXPECT_EQ(count("noperations", grown), operations);
                }
                for (const Value& array : {alias, grown}) {
                    session.assign(array, {paren(1)}, 1);
                    EXPECT_EQ(reports(), "");
                }
                EXPECT_EQ(assignmentTotals(grown), "FI assignment overflows : " + std::to_string(overflows) +
                                                       "\nFI assignment underflows: " + std::to_string(row.underflows) +
                                                       "\n");
            }
        }
    }
}

TEST_F(FiIndexing, ReadingAndRefusalsCountNothingAndAConcatenationReportsItsRightSide) {
    logging(true);
    const Value array = fi(row({1, 2, 3}), type(true, 4, 0));
    session.call(0, "resetgloballog", {array});
    session.takeWarnings();
    session.index(array, {paren(2)});
    session.index(array, {paren(colon())});
    EXPECT_EQ(count("noverflows", array), 0);
    EXPECT_EQ(reports(), "");

    EXPECT_EQ(thrownBy([&] { session.assign(array, {paren(9)}, row({100, 100})); }).id, "VELMAR:subs:countMismatch");
    EXPECT_EQ(count("noverflows", array), 0);

    const Value wide = fi(row({50, 60}), type(true, 8, 0));
    // A concatenation reports its right operand together with the session's assignments.
    session.call("subscriptedgrowassignment", {wide, row({1, -1}), fi(1, type(true, 8, 0))});
    EXPECT_EQ(reports(), "");
    session.call("subscriptedgrowassignment", {fi(1, type(true, 4, 0)), row({1, -1, -2}), wide});
    EXPECT_EQ(reports(), "2 overflows in concatenation");
}

}  // namespace
