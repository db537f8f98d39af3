#include "host/hv.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "host/bs.h"
#include "host/hv_optional.h"
#include "tests/support/arrays.h"
#include "tests/support/errors.h"

#if defined(__SANITIZE_ADDRESS__)
#define TOLVANE_ADDRESS_CHECKED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOLVANE_ADDRESS_CHECKED
#endif
#endif

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t kHuge = std::numeric_limits<std::size_t>::max();

using Dims = std::vector<std::size_t>;

/// Lets the process grow by so many bytes and no more while it lives.
class AddressSpaceLimit {
 public:
    explicit AddressSpaceLimit(std::size_t moreBytes) {
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        getrlimit(RLIMIT_AS, &mOld);
        rlimit limit = mOld;
        limit.rlim_cur = pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) + moreBytes;
        setrlimit(RLIMIT_AS, &limit);
    }
    ~AddressSpaceLimit() { setrlimit(RLIMIT_AS, &mOld); }
    AddressSpaceLimit(const AddressSpaceLimit&) = delete;
    AddressSpaceLimit& operator=(const AddressSpaceLimit&) = delete;

 private:
    rlimit mOld{};
};

struct ClassRow {
    hvClassID classId;
    int number;
    const char* name;
    std::size_t bytes;
    bool isFloat;
};
const ClassRow kNumericClasses[] = {
    {hvDOUBLE_CLASS, 6, "double", 8, true}, {hvSINGLE_CLASS, 7, "single", 4, true},
    {hvINT8_CLASS, 8, "int8", 1, false},    {hvUINT8_CLASS, 9, "uint8", 1, false},
    {hvINT16_CLASS, 10, "int16", 2, false}, {hvUINT16_CLASS, 11, "uint16", 2, false},
    {hvINT32_CLASS, 12, "int32", 4, false}, {hvUINT32_CLASS, 13, "uint32", 4, false},
    {hvINT64_CLASS, 14, "int64", 8, false}, {hvUINT64_CLASS, 15, "uint64", 8, false},
};

TEST(NumericArrays, OfEveryClassStartAsZerosWithPartsApart) {
    for (const ClassRow& row : kNumericClasses) {
        SCOPED_TRACE(row.name);
        const hvArrayOwner array = arrayOf({2, 3, 4}, row.classId, hvCOMPLEX);
        const hvArray* a = array.get();
        EXPECT_EQ(static_cast<int>(hvGetClassID(a)), row.number);
        EXPECT_STREQ(hvGetClassName(a), row.name);
        EXPECT_EQ(hvGetElementSize(a), row.bytes);
        EXPECT_TRUE(hvIsNumeric(a));
        EXPECT_TRUE(hvIsComplex(a));
        EXPECT_TRUE(hvIsA(a, row.name));
        EXPECT_TRUE(hvIsA(a, "numeric"));
        EXPECT_EQ(hvIsA(a, "float"), row.isFloat);
        EXPECT_EQ(hvIsA(a, "integer"), !row.isFloat);
        EXPECT_EQ(hvGetM(a), 2u);
        EXPECT_EQ(hvGetN(a), 12u);
        EXPECT_EQ(hvGetNumberOfElements(a), 24u);
        const std::vector<std::byte> zeros(24 * row.bytes);
        EXPECT_EQ(std::memcmp(hvGetData(a), zeros.data(), zeros.size()), 0);
        EXPECT_EQ(std::memcmp(hvGetImagData(a), zeros.data(), zeros.size()), 0);
        EXPECT_NE(hvGetData(a), hvGetImagData(a));
    }
}

TEST(NumericArrays, GiveTheExtremesOfEveryClassAsAScalar) {
    for (const ClassRow& row : kNumericClasses) {
        hvDispatchClass(row.classId, [&]<class T>(std::type_identity<T>) {
            const hvArrayOwner array = arrayOf({1, 2}, row.classId, hvCOMPLEX);
            hvGetTypedData<T>(array.get())[0] = std::numeric_limits<T>::lowest();
            hvGetTypedImagData<T>(array.get())[0] = std::numeric_limits<T>::max();
            EXPECT_EQ(hvGetScalar(array.get()), static_cast<double>(std::numeric_limits<T>::lowest())) << row.name;
            EXPECT_EQ(hvGetImagScalar(array.get()), static_cast<double>(std::numeric_limits<T>::max())) << row.name;
        });
    }
}

TEST(Dimensions, AreKeptInOneNormalForm) {
    const struct {
        Dims given, kept;
        std::size_t columns, elements;
    } rows[] = {
        {{}, {1, 1}, 1, 1},
        {{5}, {5, 1}, 1, 5},
        {{2, 3}, {2, 3}, 3, 6},
        {{2, 3, 1, 1}, {2, 3}, 3, 6},
        {{1, 1, 1, 2, 1}, {1, 1, 1, 2}, 2, 2},
        {{2, 0, 3}, {2, 0, 3}, 0, 0},
        {{0, 7, 3}, {0, 7, 3}, 21, 0},  // columns count although nothing is there
    };
    for (const auto& row : rows) {
        const hvArrayOwner array = arrayOf(row.given, hvINT16_CLASS);
        EXPECT_EQ(dimensionsOf(array), row.kept);
        EXPECT_EQ(hvGetN(array.get()), row.columns);
        EXPECT_EQ(hvGetNumberOfElements(array.get()), row.elements);
        EXPECT_EQ(hvIsEmpty(array.get()), row.elements == 0);
        EXPECT_EQ(hvIsScalar(array.get()), row.elements == 1);
        EXPECT_EQ(hvGetData(array.get()) == nullptr, row.elements == 0);
    }
}

TEST(Dimensions, CanBeSetWhenTheElementCountStays) {
    const hvArrayOwner array = doubles(2, 3, {1, 2, 3, 4, 5, 6});
    const Dims good{3, 1, 2};
    hvSetDimensions(array.get(), good.size(), good.data());
    EXPECT_EQ(dimensionsOf(array), good);
    EXPECT_EQ(valuesOf(array), (std::vector<double>{1, 2, 3, 4, 5, 6}));
    for (const Dims& bad : {Dims{2, 2}, Dims{7, 1}, Dims{0, 6}}) {
        EXPECT_EQ(raisedBy([&] { hvSetDimensions(array.get(), bad.size(), bad.data()); }).id,
                  "VELMAR:array:dimensions");
        EXPECT_EQ(dimensionsOf(array), good);
    }
}

TEST(Sizes, ThatCannotExistAreRefused) {
    const Dims sizes[] = {
        {kHuge, 1},        {kHuge, kHuge}, {kHuge / 2 + 1, 2},        {std::size_t{1} << 32, std::size_t{1} << 32},
        {0, kHuge, kHuge}, {kHuge, 2, 0},  {std::size_t{1} << 61, 1}, {std::size_t{1} << 50, 1}};
    const char* names[] = {"a", "b", "c"};
    for (const Dims& size : sizes) {
        const auto count = size.size();
        const auto* dims = size.data();
        EXPECT_EQ(raisedBy([&] { arrayOf(size, hvDOUBLE_CLASS, hvCOMPLEX); }).id, "VELMAR:nomem");
        EXPECT_EQ(raisedBy([&] { hvArrayOwner(hvCreateLogicalArray(count, dims)); }).id, "VELMAR:nomem");
        EXPECT_EQ(raisedBy([&] { hvArrayOwner(hvCreateCharArray(count, dims)); }).id, "VELMAR:nomem");
        EXPECT_EQ(raisedBy([&] { hvArrayOwner(hvCreateCellArray(count, dims)); }).id, "VELMAR:nomem");
        EXPECT_EQ(raisedBy([&] { hvArrayOwner(hvCreateStructArray(count, dims, 3, names)); }).id, "VELMAR:nomem");
    }
    EXPECT_EQ(raisedBy([] { hvFree(hvCalloc(kHuge, 16)); }).id, "VELMAR:nomem");
    // Few enough elements, too many fields of them.
    EXPECT_EQ(raisedBy([&] { hvArrayOwner(hvCreateStructMatrix(std::size_t{1} << 43, 1, 3, names)); }).id,
              "VELMAR:nomem");
}

// The address checker's shadow memory is far beyond any such limit.
#ifndef TOLVANE_ADDRESS_CHECKED
TEST(Sizes, ThatFindNoMemoryAreRefusedAndNothingElseIsLost) {
    const hvArrayOwner shared = doubles(1, 2, {1, 2});
    const hvArrayOwner big(hvCreateDoubleMatrix(1 << 14, 1 << 12));  // half a gigabyte, untouched
    const hvArrayOwner copy(hvCreateSharedDataCopy(big.get()));
    const AddressSpaceLimit limit(std::size_t{1} << 28);
    EXPECT_EQ(raisedBy([] { hvArrayOwner(hvCreateDoubleMatrix(1 << 15, 1 << 12)); }).id, "VELMAR:nomem");
    EXPECT_EQ(raisedBy([] { hvArrayOwner(hvCreateCellMatrix(1 << 15, 1 << 12)); }).id, "VELMAR:nomem");
    EXPECT_EQ(raisedBy([&] { hvGetPr(copy.get()); }).id, "VELMAR:nomem");
    EXPECT_EQ(raisedBy([&] { hvArrayOwner(hvDuplicateArray(big.get())); }).id, "VELMAR:nomem");
    EXPECT_EQ(raisedBy([&] { hvArrayOwner(hvTranspose(big.get())); }).id, "VELMAR:nomem");
    EXPECT_EQ(raisedBy([] { bsFree(bsMallocWithCheck(std::size_t{1} << 30)); }).id, "bs:outofmemory");
    EXPECT_EQ(hvGetData(static_cast<const hvArray*>(copy.get())), hvGetData(static_cast<const hvArray*>(big.get())));
    EXPECT_EQ(valuesOf(shared), (std::vector<double>{1, 2}));
}
#endif

TEST(Sizes, LargeBlocksThatWereFreedAreZerosAgainAndMakeRoomWhenMemoryRunsOut) {
    constexpr std::size_t kMebibyte = std::size_t{1} << 20;
    std::mt19937 random(3);
    std::vector<std::pair<unsigned char*, std::size_t>> blocks;
    for (unsigned step = 0; step < 100; ++step) {
        const std::size_t bytes = kMebibyte / 2 + random() % (12 * kMebibyte);
        const bool isZero = random() % 2 == 0;
        auto* const block = static_cast<unsigned char*>(isZero ? bsCalloc(1, bytes) : bsMalloc(bytes));
        ASSERT_NE(block, nullptr);
        for (std::size_t i = 0; isZero && i < bytes; i += 509) {
            ASSERT_EQ(block[i], 0) << "step " << step;
        }
        const auto mark = static_cast<unsigned char>(1 + step % 255);
        std::memset(block, mark, bytes);
        blocks.emplace_back(block, bytes);
        while (blocks.size() > random() % 6) {
            const auto [old, size] = blocks[0];
            // Nobody else has written there.
            EXPECT_EQ(std::count(old, old + size, old[0]), static_cast<std::ptrdiff_t>(size)) << "step " << step;
            bsFree(old);
            blocks.erase(blocks.begin());
        }
    }
    for (const auto& [block, bytes] : blocks) {
        bsFree(block);
    }
    blocks.resize(4);
#ifndef TOLVANE_ADDRESS_CHECKED
    for (std::size_t k = 0; k < 4; ++k) {
        blocks[k] = {static_cast<unsigned char*>(bsMalloc(16 * kMebibyte)), 0};
    }
    for (std::size_t k = 0; k < 4; ++k) {
        bsFree(blocks[k].first);
    }
    const AddressSpaceLimit limit(8 * kMebibyte);
    void* const big = bsMalloc(48 * kMebibyte);
    EXPECT_NE(big, nullptr);
    bsFree(big);
#endif
}

TEST(Creation, KnowsTheNumericClassesFromTheOthers) {
    for (const hvClassID classId : {hvUNKNOWN_CLASS, hvCELL_CLASS, hvSTRUCT_CLASS, hvLOGICAL_CLASS, hvCHAR_CLASS,
                                    hvVOID_CLASS, hvFUNCTION_CLASS, hvOPAQUE_CLASS, hvOBJECT_CLASS, hvClassID(99)}) {
        EXPECT_EQ(raisedBy([&] { arrayOf({1, 1}, classId); }).id, "VELMAR:array:notNumericClass") << classId;
    }
    const Dims dims{2, 3, 1};
    const hvArrayOwner unset(hvCreateUnsetNumericArray(dims.size(), dims.data(), hvINT16_CLASS, hvCOMPLEX));
    EXPECT_STREQ(hvGetClassName(unset.get()), "int16");
    EXPECT_EQ(hvGetTypedData<std::int16_t>(unset.get()).size() + hvGetTypedImagData<std::int16_t>(unset.get()).size(),
              12u);
    EXPECT_EQ(raisedBy([&] { hvCreateUnsetNumericArray(dims.size(), dims.data(), hvCHAR_CLASS); }).id,
              "VELMAR:array:notNumericClass");
}

TEST(Creation, OfScalarsAndMatricesHoldsTheirValues) {
    const hvArrayOwner real(hvCreateDoubleScalar(-0.0));
    EXPECT_TRUE(std::signbit(hvGetScalar(real.get())));
    EXPECT_FALSE(hvIsComplex(real.get()));
    EXPECT_EQ(hvGetPi(real.get()), nullptr);
    const hvArrayOwner complex(hvCreateComplexScalar(1.5, kInf));
    EXPECT_EQ(hvGetScalar(complex.get()), 1.5);
    EXPECT_EQ(hvGetImagScalar(complex.get()), kInf);
    const hvArrayOwner logical(hvCreateLogicalScalar(true));
    EXPECT_TRUE(hvIsLogical(logical.get()) && !hvIsNumeric(logical.get()));
    EXPECT_EQ(hvGetTypedData<std::uint8_t>(logical.get())[0], 1);
    EXPECT_EQ(hvGetScalar(logical.get()), 1.0);
    const hvArrayOwner zeros(hvFastZeros(0, 1));
    EXPECT_EQ(dimensionsOf(zeros), (Dims{0, 1}));
    EXPECT_TRUE(std::isnan(hvGetScalar(zeros.get())));
}

TEST(TypedData, IsRefusedAsAnotherType) {
    const hvArrayOwner array = arrayOf({1, 1}, hvINT32_CLASS);
    EXPECT_EQ(raisedBy([&] { hvGetTypedData<std::uint32_t>(array.get()); }).id, "VELMAR:array:wrongClass");
    EXPECT_EQ(raisedBy([&] { hvGetTypedData<double>(static_cast<hvArray*>(nullptr)); }).id, "VELMAR:array:wrongClass");
    EXPECT_EQ(hvGetPr(array.get()), nullptr);
    const hvArrayOwner bytes = arrayOf({1, 1}, hvUINT8_CLASS);
    EXPECT_EQ(hvGetTypedData<std::uint8_t>(bytes.get()).size(), 1u);
    EXPECT_TRUE(hvGetTypedImagData<std::uint8_t>(bytes.get()).empty());
}

TEST(Complexity, CanBeGivenAndTaken) {
    const hvArrayOwner array = doubles(1, 2, {3, 4});
    hvSetComplexity(array.get(), hvCOMPLEX);
    ASSERT_TRUE(hvIsComplex(array.get()));
    EXPECT_EQ(hvGetPi(array.get())[1], 0.0);
    hvGetPi(array.get())[1] = 9.0;
    hvSetComplexity(array.get(), hvCOMPLEX);  // no change, so the values stay
    EXPECT_EQ(hvGetPi(array.get())[1], 9.0);
    hvSetComplexity(array.get(), hvREAL);
    EXPECT_EQ(hvGetPi(array.get()), nullptr);
    EXPECT_EQ(valuesOf(array), (std::vector<double>{3, 4}));
    EXPECT_EQ(raisedBy([] { hvSetComplexity(text("x").get(), hvCOMPLEX); }).id, "VELMAR:array:notNumericClass");
}

TEST(NullArrays, ReadAsNothing) {
    const hvArray* none = nullptr;
    EXPECT_EQ(hvGetClassID(none), hvUNKNOWN_CLASS);
    EXPECT_TRUE(hvIsEmpty(none));
    EXPECT_EQ(hvGetM(none), 0u);
    EXPECT_EQ(hvGetN(none), 0u);
    EXPECT_EQ(hvGetData(none), nullptr);
    EXPECT_EQ(hvGetHandle(none), nullptr);
    EXPECT_FALSE(hvIsA(none, "double"));
    EXPECT_EQ(raisedBy([&] { hvGetScalar(none); }).id, "VELMAR:array:notNumericClass");
    hvDestroyArray(nullptr);
}

TEST(VectorPredicates, LookAtClassShapeAndValues) {
    const struct {
        hvArrayOwner array;
        bool isRealVector, isIntVector;
    } rows[] = {
        {doubles(1, 3, {1, -2, 1e300}), true, true},
        {doubles(3, 1, {1, 2, 2.5}), true, false},
        {doubles(1, 1, {kNaN}), true, false},
        {doubles(1, 1, {-kInf}), true, false},
        {doubles(0, 1, {}), true, true},
        {doubles(0, 0, {}), false, false},
        {doubles(2, 2, {1, 2, 3, 4}), false, false},
        {arrayOf({1, 4}, hvINT64_CLASS), true, true},
        {arrayOf({1, 4}, hvSINGLE_CLASS), true, true},
        {arrayOf({1, 1, 4}, hvDOUBLE_CLASS), false, false},
        {arrayOf({1, 4}, hvDOUBLE_CLASS, hvCOMPLEX), false, false},
        {text("123"), false, false},
        {hvArrayOwner(hvCreateLogicalScalar(true)), false, false},
        {hvArrayOwner(), false, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(hvIsRealVector(row.array.get()), row.isRealVector) << &row - rows;
        EXPECT_EQ(hvIsIntVector(row.array.get()), row.isIntVector) << &row - rows;
    }
    const hvArrayOwner halves = arrayOf({1, 2}, hvSINGLE_CLASS);
    hvGetTypedData<float>(halves.get())[1] = 0.5f;
    EXPECT_FALSE(hvIsIntVector(halves.get()));
}

TEST(SharedCopies, KeepTheirValuesWhenEitherIsWrittenOrDestroyed) {
    for (const bool originalFirst : {true, false}) {
        hvArrayOwner original = arrayOf({2, 2}, hvDOUBLE_CLASS, hvCOMPLEX);
        hvGetPr(original.get())[3] = 7.0;
        hvGetPi(original.get())[3] = 8.0;
        hvArrayOwner copy(hvCreateSharedDataCopy(original.get()));
        const hvArray* constOriginal = original.get();
        const hvArray* constCopy = copy.get();
        EXPECT_EQ(hvGetData(constOriginal), hvGetData(constCopy)) << "reading shares";

        (originalFirst ? original : copy).reset();
        hvArrayOwner& left = originalFirst ? copy : original;
        const void* before = hvGetData(static_cast<const hvArray*>(left.get()));
        EXPECT_EQ(hvGetPr(left.get())[3], 7.0);
        EXPECT_EQ(hvGetPi(left.get())[3], 8.0);
        EXPECT_EQ(hvGetData(left.get()), before) << "the last owner needs no copy to write";
    }
    const hvArrayOwner one = doubles(1, 2, {1, 2});
    const hvArrayOwner two(hvCreateSharedDataCopy(one.get()));
    hvGetPr(two.get())[0] = 99.0;
    EXPECT_EQ(valuesOf(one), (std::vector<double>{1, 2}));
    EXPECT_EQ(valuesOf(two), (std::vector<double>{99, 2}));
    const Dims column{2, 1};
    hvSetDimensions(two.get(), 2, column.data());
    EXPECT_EQ(dimensionsOf(one), (Dims{1, 2}));
}

TEST(Duplicates, HaveTheirOwnDataAtAllDepths) {
    const hvArrayOwner cell(hvCreateCellMatrix(1, 2));
    hvSetCell(cell.get(), 0, hvCreateCellMatrix(1, 1));
    hvSetCell(hvGetCell(cell.get(), 0), 0, doubles(1, 1, {5}).release());
    const hvArrayOwner copy(hvDuplicateArray(cell.get()));
    const hvArray* inOriginal = hvGetCell(hvGetCell(static_cast<const hvArray*>(cell.get()), 0), 0);
    const hvArray* inCopy = hvGetCell(hvGetCell(static_cast<const hvArray*>(copy.get()), 0), 0);
    EXPECT_NE(inOriginal, inCopy);
    EXPECT_NE(hvGetData(inOriginal), hvGetData(inCopy));
    EXPECT_EQ(hvGetScalar(inCopy), 5.0);
    EXPECT_EQ(hvGetCell(static_cast<const hvArray*>(copy.get()), 1), nullptr);
}

TEST(Cells, OwnWhatIsStoredInThem) {
    hvArrayOwner cell(hvCreateCellMatrix(2, 2));
    EXPECT_EQ(hvGetCell(cell.get(), 3), nullptr);
    hvSetCell(cell.get(), 3, doubles(1, 1, {1}).release());
    hvSetCell(cell.get(), 3, doubles(1, 1, {2}).release());  // the first is destroyed
    hvSetCell(cell.get(), 3, hvGetCell(cell.get(), 3));      // storing what is there changes nothing
    EXPECT_EQ(hvGetScalar(hvGetCell(cell.get(), 3)), 2.0);

    const hvArrayOwner copy(hvCreateSharedDataCopy(cell.get()));
    *hvGetPr(hvGetCell(copy.get(), 3)) = 3.0;
    hvSetCell(copy.get(), 0, hvCreateString("new"));
    EXPECT_EQ(hvGetScalar(hvGetCell(static_cast<const hvArray*>(cell.get()), 3)), 2.0);
    EXPECT_EQ(hvGetCell(static_cast<const hvArray*>(cell.get()), 0), nullptr);

    const hvArrayOwner value = doubles(1, 1, {4});  // stays ours when storing fails
    EXPECT_EQ(raisedBy([&] { hvSetCell(cell.get(), 4, value.get()); }).id, "VELMAR:array:badIndex");
    EXPECT_EQ(raisedBy([&] { hvSetCell(value.get(), 0, nullptr); }).id, "VELMAR:array:notCell");
    EXPECT_EQ(raisedBy([&] { hvSetCell(cell.get(), 0, cell.get()); }).id, "VELMAR:array:cycle");
    EXPECT_EQ(raisedBy([&] { hvGetCell(cell.get(), kHuge); }).id, "VELMAR:array:badIndex");
}

TEST(Cells, NestedAMillionDeepAreCopiedAndDestroyed) {
    hvArrayOwner deep;
    for (int i = 0; i < 1000000; ++i) {
        hvArrayOwner outer(hvCreateCellMatrix(1, 1));
        hvSetCell(outer.get(), 0, deep.release());
        deep = std::move(outer);
    }
    const hvArrayOwner copy(hvDuplicateArray(deep.get()));
    deep.reset();
    EXPECT_TRUE(hvIsCell(hvGetCell(copy.get(), 0)));
}

TEST(Structs, HoldFieldsByNameAndNumber) {
    const char* names[] = {"type", "subs"};
    const hvArrayOwner s(hvCreateStructMatrix(1, 2, 2, names));
    EXPECT_EQ(hvGetNumberOfFields(s.get()), 2);
    EXPECT_EQ(hvGetFieldNumber(s.get(), "subs"), 1);
    EXPECT_EQ(hvGetFieldNumber(s.get(), "Subs"), -1);
    EXPECT_STREQ(hvGetFieldNameByNumber(s.get(), 0), "type");
    EXPECT_EQ(hvGetFieldNameByNumber(s.get(), 2), nullptr);
    for (std::size_t element = 0; element < 2; ++element) {
        for (int field = 0; field < 2; ++field) {
            hvSetFieldByNumber(s.get(), element, field,
                               hvCreateDoubleScalar(static_cast<double>(element) * 10 + field));
        }
    }
    EXPECT_EQ(hvAddField(s.get(), "more"), 2);
    EXPECT_EQ(hvAddField(s.get(), "type"), 0);
    hvSetField(s.get(), 1, "more", hvCreateString("x"));
    EXPECT_EQ(hvGetScalar(hvGetField(s.get(), 1, "type")), 10.0);
    EXPECT_EQ(hvGetScalar(hvGetField(s.get(), 1, "subs")), 11.0);
    EXPECT_EQ(hvGetScalar(hvGetField(s.get(), 0, "subs")), 1.0);
    EXPECT_EQ(hvGetField(s.get(), 0, "more"), nullptr);
    EXPECT_EQ(hvGetField(s.get(), 0, "none"), nullptr);
    EXPECT_EQ(hvArray2String(hvGetField(s.get(), 1, "more")), "x");

    EXPECT_EQ(raisedBy([&] { hvGetFieldByNumber(s.get(), 0, 3); }).id, "VELMAR:array:badIndex");
    EXPECT_EQ(raisedBy([&] { hvGetFieldByNumber(s.get(), 0, -1); }).id, "VELMAR:array:badIndex");
    EXPECT_EQ(raisedBy([&] { hvGetField(s.get(), 2, "type"); }).id, "VELMAR:array:badIndex");
    EXPECT_EQ(raisedBy([&] { hvSetField(s.get(), 0, "none", nullptr); }).id, "VELMAR:array:noField");
    EXPECT_EQ(raisedBy([&] { hvGetFieldByNumber(text("x").get(), 0, 0); }).id, "VELMAR:array:notStruct");
    const char* twice[] = {"a", "b", "a"};
    EXPECT_EQ(raisedBy([&] { hvArrayOwner(hvCreateStructMatrix(1, 1, 3, twice)); }).id, "VELMAR:array:duplicateField");
}

TEST(Transpose, SwapsTheTwoDimensionsOfEveryClass) {
    constexpr std::size_t kRows = 70;  // more than a tile, and no multiple of one
    constexpr std::size_t kColumns = 33;
    for (const ClassRow& row : kNumericClasses) {
        hvDispatchClass(row.classId, [&]<class T>(std::type_identity<T>) {
            const hvArrayOwner array = arrayOf({kRows, kColumns}, row.classId, hvCOMPLEX);
            const auto real = hvGetTypedData<T>(array.get());
            const auto imaginary = hvGetTypedImagData<T>(array.get());
            for (std::size_t i = 0; i < real.size(); ++i) {
                real[i] = static_cast<T>(i % 101);
                imaginary[i] = static_cast<T>(i % 103);
            }
            const hvArrayOwner turned(hvTranspose(array.get()));
            ASSERT_EQ(dimensionsOf(turned), (Dims{kColumns, kRows}));
            for (std::size_t r = 0; r < kRows; ++r) {
                for (std::size_t c = 0; c < kColumns; ++c) {
                    ASSERT_EQ(hvGetTypedData<T>(turned.get())[c + r * kColumns], real[r + c * kRows]);
                    ASSERT_EQ(hvGetTypedImagData<T>(turned.get())[c + r * kColumns], imaginary[r + c * kRows]);
                }
            }
        });
    }
    const hvArrayOwner row = doubles(1, 3, {1, 2, 3});
    const hvArrayOwner column(hvTranspose(row.get()));
    hvGetPr(column.get())[0] = 9.0;
    EXPECT_EQ(dimensionsOf(column), (Dims{3, 1}));
    EXPECT_EQ(valuesOf(row)[0], 1.0);
    EXPECT_EQ(raisedBy([] {
                  hvArrayOwner(hvTranspose(arrayOf({1, 1, 2}, hvDOUBLE_CLASS).get()));
              }).id,
              "VELMAR:transpose:NDArray");
}

TEST(Transpose, MovesCellsAndLeavesTheOriginal) {
    const hvArrayOwner cell(hvCreateCellMatrix(2, 3));
    for (std::size_t i = 0; i < 6; ++i) {
        hvSetCell(cell.get(), i, hvCreateDoubleScalar(static_cast<double>(i)));
    }
    const hvArrayOwner turned(hvTranspose(cell.get()));
    const double expected[] = {0, 2, 4, 1, 3, 5};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(hvGetScalar(hvGetCell(turned.get(), i)), expected[i]);
        EXPECT_EQ(hvGetScalar(hvGetCell(cell.get(), i)), static_cast<double>(i));
    }
}

TEST(Strings, GoToUtf16AndBack) {
    const struct {
        std::string utf8;
        std::u16string units;
        std::string back;
    } rows[] = {
        {"fi", u"fi", "fi"},
        {std::string("a\0b", 3), std::u16string(u"a\0b", 3), std::string("a\0b", 3)},
        {"\xC3\xA9", u"\u00E9", "\xC3\xA9"},
        {"\xE2\x82\xAC", u"\u20AC", "\xE2\x82\xAC"},
        {"\xF0\x9F\x98\x80", u"\U0001F600", "\xF0\x9F\x98\x80"},
        {"\xF4\x8F\xBF\xBF", u"\U0010FFFF", "\xF4\x8F\xBF\xBF"},
        {"a\xFFz", u"a\uFFFDz", "a\xEF\xBF\xBDz"},                                        // no lead byte
        {"\xC3", u"\uFFFD", "\xEF\xBF\xBD"},                                              // cut off
        {"\xC0\x80", u"\uFFFD\uFFFD", "\xEF\xBF\xBD\xEF\xBF\xBD"},                        // overlong
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // surrogate
        {"\xF5\x80\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD",
         "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},  // above 10FFFF
    };
    for (const auto& row : rows) {
        const hvArrayOwner array = text(row.utf8);
        const auto units = hvGetTypedData<hvChar>(array.get());
        EXPECT_EQ(std::u16string(units.begin(), units.end()), row.units) << row.utf8;
        EXPECT_EQ(dimensionsOf(array), (Dims{1, row.units.size()}));
        EXPECT_EQ(hvArray2String(array.get()), row.back);
    }
    for (const char16_t unpaired : {char16_t{0xD800}, char16_t{0xDFFF}}) {
        const hvArrayOwner array = text("x");
        hvGetTypedData<hvChar>(array.get())[0] = unpaired;
        EXPECT_EQ(hvArray2String(array.get()), "\xEF\xBF\xBD");
    }
}

TEST(Strings, ThatAreEmptyOrNoTextAreTold) {
    const hvArrayOwner none(hvCreateString(static_cast<const char*>(nullptr)));
    EXPECT_EQ(dimensionsOf(none), (Dims{0, 0}));
    EXPECT_TRUE(hvIsChar(none.get()));
    EXPECT_EQ(hvArray2String(none.get()), "");
    char* copy = hvArrayToString(text("abc").get());
    EXPECT_STREQ(copy, "abc");
    hvFree(copy);
    EXPECT_EQ(hvArrayToString(doubles(1, 1, {1}).get()), nullptr);
    EXPECT_EQ(raisedBy([] { hvArray2String(doubles(1, 1, {1}).get()); }).id, "VELMAR:array:notChar");
    EXPECT_EQ(hvGetScalar(text("0").get()), 48.0);
}

int gReleased = 0;
const hvHandleOperations kCounting{
    [](void*) { ++gReleased; },
    [](const void*, const char* className) { return std::string(className) == "embedded.base"; }};

TEST(ObjectArrays, ReleaseTheirHandleOnceWithTheLastCopy) {
    for (const bool originalFirst : {true, false}) {
        gReleased = 0;
        int object = 0;
        hvArrayOwner original(hvCreateOpaque("embedded.derived", &object, &kCounting));
        hvArrayOwner shared(hvCreateSharedDataCopy(original.get()));
        hvArrayOwner deep(hvDuplicateArray(original.get()));
        hvArrayOwner cell(hvCreateCellMatrix(1, 1));
        hvSetCell(cell.get(), 0, hvCreateSharedDataCopy(original.get()));
        EXPECT_EQ(hvGetHandle(deep.get()), &object);
        EXPECT_EQ(static_cast<int>(hvGetClassID(shared.get())), 17);
        EXPECT_STREQ(hvGetClassName(shared.get()), "embedded.derived");
        EXPECT_TRUE(hvIsA(shared.get(), "embedded.derived"));
        EXPECT_TRUE(hvIsA(shared.get(), "embedded.base"));
        EXPECT_FALSE(hvIsA(shared.get(), "embedded.other"));
        EXPECT_TRUE(hvIsScalar(shared.get()));
        (originalFirst ? original : shared).reset();
        deep.reset();
        cell.reset();
        EXPECT_EQ(gReleased, 0);
        (originalFirst ? shared : original).reset();
        EXPECT_EQ(gReleased, 1);
    }
}

TEST(StandardErrors, HaveIdsAndTexts) {
    EXPECT_EQ(raisedBy([] { hvErrMsg(1); }), (Raised{"VELMAR:tooManyInputs", "Too many input arguments."}));
    EXPECT_EQ(raisedBy([] { hvErrMsg(2); }), (Raised{"VELMAR:notEnoughInputs", "Not enough input arguments."}));
    EXPECT_EQ(raisedBy([] { hvErrMsg(3); }), (Raised{"VELMAR:tooManyOutputs", "Too many output arguments."}));
    EXPECT_EQ(raisedBy([] { hvErrMsg(73); }).id, "VELMAR:badsubscript");
    EXPECT_EQ(raisedBy([] { hvErrMsg(-5); }), (Raised{"VELMAR:unknownError", "Unknown error -5."}));
    const std::string longText(100000, 'x');
    EXPECT_EQ(raisedBy([&] { hvErrMsgIdAndTxt("a:b", "%s %d", longText.c_str(), 7); }),
              (Raised{"a:b", longText + " 7"}));
}

}  // namespace
