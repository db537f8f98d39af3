// Subscripts on arrays against a model that enumerates tuples of positions, one subscript for each index.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "host/reference/Session.h"
#include "host/reference/values/indexing.h"
#include "tests/support/errors.h"

namespace {

using hostref::Value;
using Shape = std::vector<std::size_t>;
using Tuple = std::vector<std::size_t>;

std::size_t count(const Shape& shape) {
    return std::accumulate(shape.begin(), shape.end(), std::size_t{1}, std::multiplies<>());
}

Value arrayOf(const Shape& shape, const std::vector<double>& elements) {
    hvArrayOwner array(hvCreateNumericArray(shape.size(), shape.data(), hvDOUBLE_CLASS));
    std::copy(elements.begin(), elements.end(), hvGetPr(array.get()));
    return Value(std::move(array));
}

std::vector<double> numbersFrom(double first, std::size_t many) {
    std::vector<double> numbers(many);
    std::iota(numbers.begin(), numbers.end(), first);
    return numbers;
}

/// An index in the model, as positions from 0, and as the host takes it.
struct AnyIndex {
    std::vector<std::size_t> positions;
    bool isColon = false;
    Value value;
};

/// Every position of an extent.
AnyIndex all(std::size_t extent) {
    AnyIndex made{{}, true, ":"};
    made.positions.resize(extent);
    std::iota(made.positions.begin(), made.positions.end(), std::size_t{0});
    return made;
}

class Cases {
 public:
    explicit Cases(unsigned seed) : mRandom(seed) {}
    std::size_t upTo(std::size_t most) { return std::uniform_int_distribution<std::size_t>(0, most)(mRandom); }
    Shape shape() {
        Shape shape(2 + upTo(2));
        for (std::size_t& extent : shape) {
            extent = upTo(5) == 0 ? 0 : 1 + upTo(3);
        }
        while (shape.size() > 2 && shape.back() == 1) {
            shape.pop_back();
        }
        return shape;
    }
    /// An index into an extent, reaching `beyond` positions further.
    AnyIndex index(std::size_t extent, std::size_t beyond) {
        AnyIndex made;
        const std::size_t reach = extent + upTo(beyond);
        const std::size_t kind = upTo(3);
        if (kind == 0) {
            return all(extent);
        }
        if (kind == 1) {
            hvArrayOwner mask(hvCreateLogicalMatrix(1, reach));
            for (std::size_t i = 0; i < reach; ++i) {
                if (upTo(1) == 0) {
                    hvGetTypedData<hvLogical>(mask.get())[i] = 1;
                    made.positions.push_back(i);
                }
            }
            made.value = Value(std::move(mask));
        } else {
            std::vector<double> numbers;
            for (std::size_t i = reach == 0 ? 0 : upTo(4); i > 0; --i) {
                made.positions.push_back(upTo(reach - 1));
                numbers.push_back(static_cast<double>(made.positions.back() + 1));
            }
            made.value = arrayOf({1, numbers.size()}, numbers);
        }
        return made;
    }

 private:
    std::mt19937 mRandom;
};

Shape seenBy(const Shape& shape, std::size_t indexCount) {
    Shape seen(indexCount, 1);
    for (std::size_t d = 0; d < shape.size(); ++d) {
        seen[std::min(d, indexCount - 1)] *= shape[d];
    }
    return seen;
}

/// Calls with each tuple of positions, the first index fastest.
template <class Action>
void forTuples(const std::vector<AnyIndex>& indexes, Action action) {
    std::vector<Tuple> tuples{{}};
    for (std::size_t d = indexes.size(); d-- > 0;) {
        std::vector<Tuple> longer;
        for (const Tuple& tuple : tuples) {
            for (const std::size_t position : indexes[d].positions) {
                longer.push_back({position});
                longer.back().insert(longer.back().end(), tuple.begin(), tuple.end());
            }
        }
        tuples = longer;
    }
    std::for_each(tuples.begin(), tuples.end(), action);
}

std::size_t place(const Tuple& tuple, const Shape& shape) {
    std::size_t result = 0;
    for (std::size_t d = tuple.size(); d-- > 0;) {
        result = result * shape[d] + tuple[d];
    }
    return result;
}

Shape withoutOnes(Shape shape, std::size_t atLeast) {
    while (shape.size() > atLeast && shape.back() == 1) {
        shape.pop_back();
    }
    return shape;
}

std::vector<const hvArray*> borrowed(const std::vector<AnyIndex>& indexes) {
    std::vector<const hvArray*> pointers;
    for (const AnyIndex& index : indexes) {
        pointers.push_back(index.value.array());
    }
    return pointers;
}

TEST(Indexing, SeveralIndicesReadWriteAndGrowAsTuplesOfPositions) {
    int assignments = 0;
    for (unsigned seed = 1; seed <= 4000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Cases cases(seed);
        const Shape shape = cases.shape();
        const std::vector<double> elements = numbersFrom(1, count(shape));
        const Value array = arrayOf(shape, elements);
        const std::size_t indexCount = 2 + cases.upTo(2);
        const Shape seen = seenBy(shape, indexCount);
        const bool isFull = indexCount >= shape.size();
        std::vector<AnyIndex> indexes;
        Shape counts;
        Shape grown = shape;
        grown.resize(std::max(grown.size(), indexCount), 1);
        bool isWithin = true;
        for (std::size_t d = 0; d < indexCount; ++d) {
            indexes.push_back(cases.index(seen[d], isFull || d + 1 < indexCount ? 2 : 0));
            counts.push_back(indexes[d].positions.size());
            for (const std::size_t position : indexes[d].positions) {
                isWithin = isWithin && position < seen[d];
                grown[d] = d + 1 < indexCount || isFull ? std::max(grown[d], position + 1) : grown[d];
            }
        }
        const auto given = borrowed(indexes);
        if (isWithin) {
            std::vector<double> read;
            forTuples(indexes, [&](const Tuple& tuple) { read.push_back(elements[place(tuple, seen)]); });
            const Value got(hostref::elementsAt(array.array(), given));
            EXPECT_EQ(got.dimensions(), withoutOnes(counts, 2));
            EXPECT_EQ(got.toDoubles(), read);
        } else {
            EXPECT_EQ(raisedBy([&] { Value(hostref::elementsAt(array.array(), given)); }).id,
                      "VELMAR:subs:exceedsDimensions");
        }
        // ":" along an empty dimension depends on the values; the table below has it.
        const bool isOpen =
            std::ranges::any_of(indexes, [&](const AnyIndex& i) { return i.isColon; }) && count(shape) == 0;
        if (isOpen) {
            continue;
        }
        ++assignments;
        if (count(counts) == 0) {
            grown = shape;
        }
        const bool isScalar = cases.upTo(2) == 0;
        const Shape valueShape = isScalar ? Shape{1, 1} : counts;
        const Value values = arrayOf(valueShape, numbersFrom(-1000, count(valueShape)));
        const Shape grownSeen = seenBy(grown, indexCount);
        std::vector<double> written(count(grown), 0.0);
        std::vector<AnyIndex> everything;
        std::ranges::transform(seen, std::back_inserter(everything), all);
        forTuples(everything,
                  [&](const Tuple& tuple) { written[place(tuple, grownSeen)] = elements[place(tuple, seen)]; });
        double next = -1000;
        forTuples(indexes, [&](const Tuple& tuple) { written[place(tuple, grownSeen)] = isScalar ? -1000 : next++; });
        const Value got(hostref::withElements(array.array(), given, values.array()));
        EXPECT_EQ(got.dimensions(), withoutOnes(grown, 2));
        EXPECT_EQ(got.toDoubles(), written);
        EXPECT_EQ(array.toDoubles(), elements);
    }
    EXPECT_GT(assignments, 2000);
}

TEST(Indexing, DeletionKeepsWhatNoIndexNames) {
    for (unsigned seed = 1; seed <= 2000; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Cases cases(seed);
        const Shape shape = cases.shape();
        const std::vector<double> elements = numbersFrom(1, count(shape));
        const Value array = arrayOf(shape, elements);
        const std::size_t d = cases.upTo(shape.size() - 1);
        std::vector<AnyIndex> indexes;
        std::ranges::transform(shape, std::back_inserter(indexes), all);
        std::vector<AnyIndex> kept = indexes;
        Shape left = shape;
        indexes[d] = cases.index(shape[d], 0);
        if (indexes[d].isColon || count(shape) == 0) {
            continue;
        }
        std::erase_if(kept[d].positions, [&](std::size_t position) {
            return std::ranges::find(indexes[d].positions, position) != indexes[d].positions.end();
        });
        left[d] = kept[d].positions.size();
        std::vector<double> stays;
        forTuples(kept, [&](const Tuple& tuple) { stays.push_back(elements[place(tuple, shape)]); });
        const Value got(hostref::withoutElements(array.array(), borrowed(indexes)));
        EXPECT_EQ(got.dimensions(), withoutOnes(left, 2));
        EXPECT_EQ(got.toDoubles(), stays);
    }
}

// What users type, by shape: source, index, result of reading or of assigning.
struct Row {
    const char* name;
    Value array;
    std::vector<Value> indices;
    Value expected;
};

Value row(const std::vector<double>& elements) {
    return arrayOf({1, elements.size()}, elements);
}
Value column(const std::vector<double>& elements) {
    return arrayOf({elements.size(), 1}, elements);
}
Value mask(const Shape& shape, const std::vector<int>& bits) {
    hvArrayOwner made(hvCreateLogicalArray(shape.size(), shape.data()));
    std::copy(bits.begin(), bits.end(), hvGetTypedData<hvLogical>(made.get()).begin());
    return Value(std::move(made));
}

std::vector<const hvArray*> borrowedFrom(const std::vector<Value>& values) {
    std::vector<const hvArray*> pointers;
    for (const Value& value : values) {
        pointers.push_back(value.array());
    }
    return pointers;
}

TEST(Indexing, OneIndexGivesItsShapeOrTheDirectionOfAVector) {
    const Value square = arrayOf({2, 2}, {1, 2, 3, 4});
    const Value empty = arrayOf({0, 0}, {});
    const Row rows[] = {
        {"matrix by row", square, {row({4, 1})}, row({4, 1})},
        {"matrix by column", square, {column({4, 1})}, column({4, 1})},
        {"matrix by matrix", square, {square}, square},
        {"row by column", row({5, 6}), {column({2, 1})}, row({6, 5})},
        {"column by row", column({5, 6}), {row({2, 2, 1})}, column({6, 6, 5})},
        {"row by matrix", row({5, 6}), {arrayOf({2, 2}, {1, 1, 2, 2})}, arrayOf({2, 2}, {5, 5, 6, 6})},
        {"scalar by row", Value(7), {row({1, 1})}, row({7, 7})},
        {"all of a row", row({5, 6}), {":"}, column({5, 6})},
        {"all of nothing", empty, {":"}, arrayOf({0, 1}, {})},
        {"nothing of a row", row({5, 6}), {arrayOf({0, 1}, {})}, arrayOf({1, 0}, {})},
        {"nothing of a matrix", square, {empty}, empty},
        {"mask of a matrix", square, {mask({2, 2}, {0, 1, 0, 1})}, column({2, 4})},
        {"row mask of a matrix", square, {mask({1, 3}, {1, 0, 1})}, row({1, 3})},
        {"mask of a row", row({5, 6, 7}), {mask({3, 1}, {1, 0, 1})}, row({5, 7})},
        {"no index", square, {}, square},
        {"trailing ones", square, {2, 1, 1, 1}, Value(2)},
        {"folded", arrayOf({1, 2, 2}, {1, 2, 3, 4}), {1, row({4, 3})}, row({4, 3})},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(Value(hostref::elementsAt(r.array.array(), borrowedFrom(r.indices))), r.expected);
    }
}

TEST(Indexing, AssignmentGrowsVectorsAndFillsEmptyDimensions) {
    const Value empty = arrayOf({0, 0}, {});
    const auto cells = [](const std::vector<Value>& values) { return Value::cells(values); };
    const auto complexRow = [](const std::vector<double>& re, const std::vector<double>& im) {
        return Value::matrix(1, 2, re, im);
    };
    const struct {
        const char* name;
        Value array;
        std::vector<Value> indices;
        Value values, expected;
    } rows[] = {
        {"row", row({1}), {3}, 9, row({1, 0, 9})},
        {"column", column({1, 2}), {4}, 9, column({1, 2, 0, 9})},
        {"nothing", empty, {2}, 9, row({0, 9})},
        {"last of repeated", row({1, 2}), {row({1, 1})}, row({8, 9}), row({9, 2})},
        {"all", row({1, 2}), {":"}, column({8, 9}), row({8, 9})},
        {"column of nothing", empty, {":", 1}, column({8, 9}), column({8, 9})},
        {"rows of nothing", empty, {2, ":"}, row({8, 9}), arrayOf({2, 2}, {0, 8, 0, 9})},
        {"any direction", arrayOf({2, 2}, {1, 2, 3, 4}), {1, ":"}, column({8, 9}), arrayOf({2, 2}, {8, 2, 9, 4})},
        {"no place", row({1}), {arrayOf({1, 0}, {})}, 9, row({1})},
        {"complex", row({1, 2}), {2}, Value::complex(3, 4), complexRow({1, 3}, {0, 4})},
        {"real into complex", complexRow({1, 3}, {5, 4}), {2}, 7, complexRow({1, 7}, {5, 0})},
        {"text", "abc", {5}, "x", Value(std::string("abc\0x", 5))},
        {"logical into doubles", row({1, 2}), {1}, true, row({1, 2})},
        {"text into nothing", empty, {1}, "x", "x"},
        {"cells", cells({1, "b"}), {1}, cells({"a"}), cells({"a", "b"})},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(Value(hostref::withElements(r.array.array(), borrowedFrom(r.indices), r.values.array())), r.expected);
    }
}

TEST(Indexing, DeletionByOneIndexKeepsVectorsAndMakesRowsOfMatrices) {
    const Row rows[] = {
        {"row", row({1, 2, 3}), {2}, row({1, 3})},
        {"column", column({1, 2, 3}), {row({1, 3})}, column({2})},
        {"matrix", arrayOf({2, 2}, {1, 2, 3, 4}), {2}, row({1, 3, 4})},
        {"all", row({1, 2}), {":"}, arrayOf({0, 0}, {})},
        {"nothing", arrayOf({2, 2}, {1, 2, 3, 4}), {arrayOf({0, 0}, {})}, arrayOf({2, 2}, {1, 2, 3, 4})},
        {"all columns", arrayOf({2, 2}, {1, 2, 3, 4}), {":", row({2, 1})}, arrayOf({2, 0}, {})},
        {"whole row by number", row({1, 2}), {1, 2}, row({1})},
        {"everything", arrayOf({2, 3}, {1, 2, 3, 4, 5, 6}), {":", ":"}, arrayOf({0, 3}, {})},
        {"no columns", arrayOf({2, 2}, {1, 2, 3, 4}), {1, arrayOf({1, 0}, {})}, arrayOf({2, 2}, {1, 2, 3, 4})},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(Value(hostref::withoutElements(r.array.array(), borrowedFrom(r.indices))), r.expected);
    }
}

TEST(Indexing, WrongIndicesAndValuesAreErrorsAndChangeNothing) {
    struct Wrong {
        std::vector<Value> indices;
        Value values;
        const char* id;
    };
    const Value square = arrayOf({2, 2}, {1, 2, 3, 4});
    const Value nothing = arrayOf({0, 0}, {});
    const Wrong rows[] = {
        {{0}, 1, "VELMAR:subs:badSubscript"},
        {{1.5}, 1, "VELMAR:subs:badSubscript"},
        {{-1, 1}, 1, "VELMAR:subs:badSubscript"},
        {{std::nan("")}, 1, "VELMAR:subs:badSubscript"},
        {{HUGE_VAL}, 1, "VELMAR:subs:badSubscript"},
        {{1e300}, 1, "VELMAR:subs:badSubscript"},
        {{Value::complex(1, 1)}, 1, "VELMAR:subs:badSubscript"},
        {{Value::cells(std::vector<Value>{1})}, 1, "VELMAR:subs:badSubscript"},
        {{"::"}, 1, "VELMAR:subs:badSubscript"},
        {{}, 1, "VELMAR:subs:badSubscript"},
        {{5}, 1, "VELMAR:subs:cannotResize"},
        {{row({1, 2})}, row({1, 2, 3}), "VELMAR:subs:countMismatch"},
        {{1}, row({1, 2, 3}), "VELMAR:subs:countMismatch"},
        {{1}, arrayOf({1, 0}, {}), "VELMAR:subs:countMismatch"},
        {{":", 1}, row({1, 2, 3}), "VELMAR:subs:dimensionMismatch"},
        {{row({1, 2}), row({1, 2})}, row({1, 2, 3, 4}), "VELMAR:subs:dimensionMismatch"},
        {{1}, Value::cells(std::vector<Value>{1}), "VELMAR:subs:classMismatch"},
        {{1, 1e15}, 1, "VELMAR:nomem"},
        {{5}, nothing, "VELMAR:subs:exceedsDimensions"},
        {{1, 1}, nothing, "VELMAR:subs:badDeletion"},
        {{0}, nothing, "VELMAR:subs:badSubscript"},
    };
    hostref::Session session{TEST_MODULE};
    for (const Wrong& r : rows) {
        const hostref::Subscript step{"()", r.indices};
        std::string id;
        try {
            session.assign(square, {step}, r.values);
        } catch (const hostref::HostError& error) {
            id = error.id();
        }
        EXPECT_EQ(id, r.id);
        EXPECT_EQ(square, arrayOf({2, 2}, {1, 2, 3, 4}));
    }
    // Only what has no extent at all grows into a row.
    const Value noRows = arrayOf({0, 3}, {});
    const std::vector<Value> second = {2};
    EXPECT_EQ(raisedBy([&] { hostref::withElements(noRows.array(), borrowedFrom(second), Value(9).array()); }).id,
              "VELMAR:subs:cannotResize");
}

// Whether one of many numbers is no position must not depend on where it stands.
TEST(Indexing, OneWrongNumberAmongManyIsFoundAnywhere) {
    constexpr std::size_t kElements = 3000;
    const std::pair<const char*, std::vector<double>> wrongs[] = {
        {"VELMAR:subs:badSubscript",
         {0.0, -0.0, -1.0, 0.5, -0x1p52, std::nextafter(2.0, 1.0), 2999.5, 5e-324, HUGE_VAL, -HUGE_VAL, NAN, -NAN,
          -0x1.8p1000}},
        {"VELMAR:subs:exceedsDimensions", {3001.0, 0x1p52 + 1, 0x1p53}}};
    Cases cases(7);
    hvArrayOwner complexArray(hvCreateDoubleMatrix(kElements, 1, hvCOMPLEX));
    hvArrayOwner bytes(hvCreateNumericMatrix(1, kElements, hvUINT16_CLASS));
    for (std::size_t i = 0; i < kElements; ++i) {
        hvGetPr(complexArray.get())[i] = static_cast<double>(i + 1);
        hvGetPi(complexArray.get())[i] = -static_cast<double>(i + 1);
        hvGetTypedData<std::uint16_t>(bytes.get())[i] = static_cast<std::uint16_t>(i + 1);
    }
    for (const std::size_t many : {1U, 511U, 512U, 513U, 1500U}) {
        std::vector<double> numbers(many);
        for (double& number : numbers) {
            number = static_cast<double>(1 + cases.upTo(kElements - 1));
        }
        numbers[cases.upTo(many - 1)] = kElements;
        const auto read = [&](const hvArrayOwner& array) {
            const Value index = row(numbers);
            const hvArray* const indices[] = {index.array()};
            return hostref::elementsAt(array.get(), indices);
        };
        const hvArrayOwner got = read(complexArray);
        ASSERT_EQ(hvGetM(got.get()), many);
        const hvArrayOwner gotBytes = read(bytes);
        ASSERT_EQ(hvGetN(gotBytes.get()), many);
        for (std::size_t i = 0; i < many; ++i) {
            EXPECT_EQ(hvGetPr(got.get())[i], numbers[i]);
            EXPECT_EQ(hvGetPi(got.get())[i], -numbers[i]);
            EXPECT_EQ(hvGetTypedData<std::uint16_t>(gotBytes.get())[i], numbers[i]);
        }
        for (const auto& [id, group] : wrongs) {
            for (const double wrong : group) {
                const std::size_t place = cases.upTo(many - 1);
                const double right = std::exchange(numbers[place], wrong);
                EXPECT_EQ(raisedBy([&] { read(bytes); }).id, id) << wrong << " at " << place << " of " << many;
                numbers[place] = right;
            }
        }
    }
}

TEST(Indexing, ASessionTakesStepsOfParenthesesAndBraces) {
    using hostref::brace;
    using hostref::colon;
    using hostref::paren;
    hostref::Session session{TEST_MODULE};
    const Value square = arrayOf({2, 2}, {1, 2, 3, 4});
    EXPECT_EQ(session.index(square, {paren(2, colon())}), row({2, 4}));
    EXPECT_EQ(session.index(square, {paren(colon()), paren(3)}), Value(3));
    EXPECT_EQ(session.assign(square, {paren(colon(), 3)}, 7), arrayOf({2, 3}, {1, 2, 3, 4, 7, 7}));
    EXPECT_EQ(session.assign(square, {paren(1, colon())}, Value()), row({2, 4}));
    const Value cells = Value::cells(std::vector<Value>{square, "text"});
    EXPECT_EQ(session.index(cells, {brace(1), paren(4)}), Value(4));
    EXPECT_EQ(session.index(cells, {brace(2)}), Value("text"));
    EXPECT_THROW(session.index(cells, {brace(colon())}), hostref::HostError);
    EXPECT_THROW(session.index(square, {brace(1)}), hostref::HostError);
}

}  // namespace
