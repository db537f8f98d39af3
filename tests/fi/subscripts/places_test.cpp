// Which subscripts the library reads, and which only the host does. That both give the same elements, shapes, errors
// and logs is tested through a session (tests/binding/fi/indexing_test.cpp).
#include "fi/subscripts/places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "fi/fi.h"
#include "host/hsc.h"
#include "tests/support/errors.h"

namespace {

using tolvane::detail::leftBy;
using tolvane::detail::Places;
using tolvane::detail::selectedBy;
using Sizes = std::vector<std::uint64_t>;

using Index = hvArrayOwner (*)();

template <class... Numbers>
hvArrayOwner row(Numbers... numbers) {
    const std::vector<double> list{static_cast<double>(numbers)...};
    hvArrayOwner made(hvCreateDoubleMatrix(1, list.size()));
    std::ranges::copy(list, hvGetTypedData<double>(made.get()).begin());
    return made;
}

hvArrayOwner complexRow() {
    hvArrayOwner made = row(1, 2);
    hvSetComplexity(made.get(), hvCOMPLEX);
    return made;
}

hvArrayOwner mask(std::size_t rows, std::size_t columns) {
    hvArrayOwner made(hvCreateLogicalMatrix(rows, columns));
    std::ranges::fill(hvGetTypedData<hvLogical>(made.get()), hvLogical{1});
    hvGetTypedData<hvLogical>(made.get())[1] = 0;
    return made;
}

hvArrayOwner integer() {
    hvArrayOwner made(hvCreateNumericMatrix(1, 1, hvINT32_CLASS));
    hvGetTypedData<std::int32_t>(made.get())[0] = 1;
    return made;
}

hvArrayOwner colon() {
    return hvArrayOwner(hvCreateString(":"));
}

std::vector<const hvArray*> pointers(const std::vector<hvArrayOwner>& indices) {
    std::vector<const hvArray*> list;
    std::ranges::transform(indices, std::back_inserter(list), [](const auto& index) { return index.get(); });
    return list;
}

TEST(Subscripts, ArePassedToTheHostUnlessTheyArePlain) {
    constexpr int kRead = 1;
    constexpr int kAssign = 2;
    constexpr int kDelete = 4;
    constexpr int kAll = kRead | kAssign | kDelete;
    // The second column is for the rows of a 3-by-4 array, the third for all its elements.
    const struct {
        const char* why;
        Index index;
        int rows;
        int linear;
    } table[] = {
        {"a scalar", [] { return row(2); }, kAll, kAll},
        {"a range", [] { return row(2, 3); }, kAll, kAll},
        {"a rising list", [] { return row(1, 3); }, kAll, kAll},
        {"all", colon, kRead | kAssign, kRead | kAssign},
        {"a falling range", [] { return row(3, 2); }, kRead, kRead},
        {"a list", [] { return row(1, 3, 2); }, kRead, kRead},
        {"duplicates", [] { return row(1, 1); }, kRead, kRead},
        {"a mask of the array's shape", [] { return mask(3, 4); }, 0, kAll},
        {"a mask of another shape", [] { return mask(4, 3); }, 0, 0},
        {"a mask of the rows", [] { return mask(3, 1); }, 0, 0},
        {"out of bounds", [] { return row(1, 13); }, 0, 0},
        {"zero", [] { return row(0, 1); }, 0, 0},
        {"negative", [] { return row(-1, 1); }, 0, 0},
        {"a fraction", [] { return row(1, 1.5); }, 0, 0},
        {"NaN", [] { return row(1, NAN); }, 0, 0},
        {"infinite", [] { return row(1, HUGE_VAL); }, 0, 0},
        {"beyond all arrays", [] { return row(1, 0x1p60); }, 0, 0},
        {"complex", complexRow, 0, 0},
        {"nothing", [] { return row(); }, 0, 0},
        {"an integer class", integer, 0, 0},
        {"another text", [] { return hvArrayOwner(hvCreateString("::")); }, 0, 0},
        {"a cell", [] { return hvArrayOwner(hvCreateCellMatrix(1, 1)); }, 0, 0},
        {"null", [] { return hvArrayOwner(); }, 0, 0},
    };
    const Sizes dims{3, 4};
    for (const auto& entry : table) {
        for (const bool isLinear : {false, true}) {
            SCOPED_TRACE(testing::Message() << entry.why << (isLinear ? ", linear" : ", rows"));
            std::vector<hvArrayOwner> indices;
            indices.push_back(entry.index());
            if (!isLinear) {
                indices.push_back(colon());
            }
            const auto list = pointers(indices);
            const auto places = Places::read(list, dims);
            const int served = (selectedBy(list, dims) ? kRead : 0) | (places && places->areAscending() ? kAssign : 0) |
                               (leftBy(list, dims) ? kDelete : 0);
            EXPECT_EQ(served, isLinear ? entry.linear : entry.rows);
            // One subscript may stand for all dimensions, otherwise there must be one for each.
            EXPECT_TRUE(isLinear || selectedBy(list, Sizes{3, 4, 2}) == nullptr);
            EXPECT_EQ(selectedBy(list, Sizes{0, 4}), nullptr);
        }
    }
}

/// Whether an action calls the host, which it does with the trap flag set.
template <class Action>
bool callsHost(Action&& action) {
    hscSetTrapFlag(0);
    action();
    const int oldMode = hvSetErrorMode(-1);
    const bool isTrapping = raisedBy([] { hscCallVELMAR(0, nullptr, 0, nullptr, "no_such_function"); }).id.empty();
    hvSetErrorMode(oldMode);
    hscSetTrapFlag(0);
    return isTrapping;
}

TEST(Subscripts, OfSlicesBehindTheLastOnesAndOfRemovedSlicesNeedNoHost) {
    const auto pathOf = [](std::vector<hvArrayOwner> indices) {
        static constexpr const char* kFields[] = {"type", "subs"};
        hvArrayOwner cells(hvCreateCellMatrix(1, indices.size()));
        for (std::size_t i = 0; i < indices.size(); ++i) {
            hvSetCell(cells.get(), i, indices[i].release());
        }
        hvArrayOwner path(hvCreateStructMatrix(1, 1, 2, kFields));
        hvSetField(path.get(), 0, "type", hvCreateString("()"));
        hvSetField(path.get(), 0, "subs", cells.release());
        return path;
    };
    const Index all = colon;
    const struct {
        Sizes dims;
        Index first;
        Index second;
        bool grows;
        bool callsHost;
        Sizes result;
    } table[] = {
        {{1, 3}, [] { return row(4); }, nullptr, true, false, {1, 4}},
        {{3, 1}, [] { return row(5, 6, 9); }, nullptr, true, false, {9, 1}},
        {{3, 4}, all, [] { return row(6); }, true, false, {3, 6}},
        {{3, 4}, [] { return row(4, 5); }, all, true, false, {5, 4}},
        {{3, 4}, [] { return row(3, 4); }, all, true, true, {4, 4}},
        {{3, 4}, [] { return row(4); }, [] { return row(5); }, true, true, {4, 5}},
        {{1, 3}, [] { return row(3); }, nullptr, true, true, {1, 3}},
        {{1, 3}, [] { return row(1e6); }, nullptr, true, true, {1, 1000000}},
        {{1, 3}, [] { return row(1, 3); }, nullptr, false, false, {1, 1}},
        {{3, 4}, [] { return row(2); }, all, false, false, {2, 4}},
        {{3, 4}, [] { return mask(3, 4); }, nullptr, false, false, {1, 1}},
        {{1, 3}, [] { return row(1, 1); }, nullptr, false, true, {1, 2}},
    };
    const fi one(1.0, true, 16, 0, fimath(), 0, "", true, embedded::OperationTypeEnum::Assignment);
    for (const auto& entry : table) {
        std::vector<hvArrayOwner> indices;
        indices.push_back(entry.first());
        if (entry.second != nullptr) {
            indices.push_back(entry.second());
        }
        const hvArrayOwner path = pathOf(std::move(indices));
        const fi array(2.0, entry.dims.data(), 2, one.getNumericType(), fimath(), "", true,
                       embedded::OperationTypeEnum::Assignment);
        std::unique_ptr<fi> result;
        EXPECT_EQ(callsHost([&] {
                      result.reset(entry.grows ? array.subscriptedGrowAssignmentFromStruct(path.get(), one)
                                               : array.subscriptedDeleteFromStruct(path.get()));
                  }),
                  entry.callsHost);
        EXPECT_EQ(result->realdouble(0), 2.0);
        EXPECT_EQ(Sizes(result->dims(), result->dims() + result->ndims()), entry.result);
    }
}

}  // namespace
