// What each composite type takes as a part, what it refuses and how, and the values that matrices, enumerations and
// structures take. A refusal leaves the object as it was.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <string>

#include "tests/support/errors.h"
#include "tests/support/type_trees.h"

namespace {

using namespace typetrees;

struct Composition : ::testing::Test {
    Owner owner;
    NumericType* number = owner.make<NumericType>();
    Vector elementsOf(std::vector<StructElement*> elements) {
        Vector handles;
        for (StructElement* element : elements) {
            handles.push_back(new OMInterface(element, ClassRecordOf<StructElement>::get(""), nullptr));
            owner.references().push_back(HandleReference::adopt(handles.back()));
        }
        return handles;
    }
};

hvArrayOwner vectorOf(const std::vector<double>& values) {
    hvArrayOwner array(hvFastZeros(values.size(), 1));
    std::copy(values.begin(), values.end(), hvGetPr(array.get()));
    return array;
}

// Letters of a refusal: identifier's last word and message.
const std::map<char, Raised> refusalsOfComplex = {
    {'v', {"embeddedtype:complexbasetype:invalidbasetype", "Parameter is not a valid base type."}}};
const std::map<char, Raised> refusalsOfMatrix = {
    {'n', {"embeddedtype:matrixbasetype:nullbasetype", "Parameter is invalid."}},
    {'i', {"embeddedtype:matrixbasetype:incompletebasetype", "Parameter is not a completely specified type."}},
    {'v', {"embeddedtype:matrixbasetype:invalidbasetype", "Parameter is not a valid type."}},
    {'r', {"embeddedtype:matrixbasetype:recursion", "Invalid Parameter, parameter leads to recursion"}}};
const std::map<char, Raised> refusalsOfPointer = {
    {'n', {"embeddedtype:pointerbasetype:nullbasetype", "Parameter is not a valid type."}},
    {'v', {"embeddedtype:pointerbasetype:invalidbasetype", "Parameter is not a valid type."}},
    {'r', {"embeddedtype:pointerbasetype:recursion", "Invalid Parameter, parameter leads to recursion"}}};
const std::map<char, Raised> refusalsOfElement = {
    {'n', {"embeddedtype:elementtype:nulltype", "Parameter is invalid"}},
    {'i', {"embeddedtype:elementtype:incompletetype", "Parameter is not a completely specified type."}},
    {'v', {"embeddedtype:elementtype:invalidtype", "Parameter is not a valid element type."}}};

TEST_F(Composition, OfEachCompositeFromEachKindOfPart) {
    ComplexType* const complex = owner.make<ComplexType>(number, false);
    MatrixType* const matrix = owner.matrix(number, {2});
    PointerType* const pointer = owner.pointer(number);
    StructElement element(number, "x");

    auto* const constNumber = owner.make<NumericType>();
    constNumber->setReadOnly(true);
    StructType* const volatileStructure = owner.structure({{"a", number}});
    volatileStructure->setVolatile(true);
    auto* const nothing = owner.make<VoidType>(false);
    PointerType* const toVoid = owner.pointer(nothing);
    PointerType* const toNumber = owner.pointer(number);
    PointerType* const thrice = owner.pointer(owner.pointer(number));
    static_cast<PointerType*>(thrice->getBaseType())->setBaseType(owner.pointer(number));
    MatrixType* const numbers = owner.matrix(number, {3});
    PointerType* const toSelf = owner.pointer(pointer);
    PointerType* const toMatrix = owner.pointer(matrix);
    PointerType* const toToMatrix = owner.pointer(owner.pointer(number));
    static_cast<PointerType*>(toToMatrix->getBaseType())->setBaseType(matrix);

    struct Row {
        const char* name;
        Type* part;
        const char* answers;  // of complex, matrix, pointer, element; '+' accepts
    };
    const Row rows[] = {
        {"nothing", nullptr, "vnnn"},
        {"number", owner.make<NumericType>(), "++++"},
        {"const number", constNumber, "v+++"},
        {"char", owner.make<CharType>(false), "v+++"},
        {"enum", owner.make<FIEnumType>(false), "v+++"},
        {"void", nothing, "vi+i"},
        {"opaque", owner.make<OpaqueType>(false), "v+++"},
        {"complex", owner.make<ComplexType>(number, false), "v+++"},
        {"complex of nothing", owner.make<ComplexType>(false), "vi+i"},
        {"struct", owner.structure({{"a", number}}), "++++"},
        {"volatile struct", volatileStructure, "v+++"},
        {"struct of nothing", owner.make<StructType>(false), "+i+i"},
        {"struct of an empty place", owner.make<StructType>(1U, false), "++++"},
        {"pointer", toNumber, "v+++"},
        {"pointer to nothing", owner.make<PointerType>(false), "vivi"},
        {"pointer to void", toVoid, "vv++"},
        {"pointer to pointer", owner.pointer(toNumber), "v+v+"},
        {"pointer to pointer to void", owner.pointer(toVoid), "vvv+"},
        {"pointer to pointer to pointer", thrice, "vvv+"},
        {"matrix", numbers, "vv++"},
        {"matrix of nothing", owner.make<MatrixType>(false), "vivi"},
        {"pointer to matrix", owner.pointer(numbers), "vvv+"},
        {"matrix of pointers", owner.matrix(toNumber, {2}), "vvv+"},
        {"pointer to this pointer", toSelf, "v+r+"},
        {"pointer to this matrix", toMatrix, "vrv+"},
        {"pointer to pointer to this matrix", toToMatrix, "vrv+"},
        {"this complex", complex, "v+++"},
        {"this matrix", matrix, "vr++"},
        {"this pointer", pointer, "v+r+"},
    };

    const struct {
        const std::map<char, Raised>& refusals;
        std::function<void(Type*)> set;
        std::function<Type*()> get;
    } composites[] = {
        {refusalsOfComplex, [&](Type* t) { complex->setBaseType(t); }, [&] { return complex->getBaseType(); }},
        {refusalsOfMatrix, [&](Type* t) { matrix->setBaseType(t); }, [&] { return matrix->getBaseType(); }},
        {refusalsOfPointer, [&](Type* t) { pointer->setBaseType(t); }, [&] { return pointer->getBaseType(); }},
        {refusalsOfElement, [&](Type* t) { element.setType(t); }, [&] { return element.getType(); }},
    };
    for (const Row& row : rows) {
        const char* answer = row.answers;
        for (const auto& [refusals, set, get] : composites) {
            const Raised raised = raisedBy([&, &store = set] { store(row.part); });
            EXPECT_EQ(raised, *answer == '+' ? Raised{} : refusals.at(*answer)) << row.name << ", " << answer;
            EXPECT_EQ(get(), *answer == '+' ? row.part : number) << row.name << ", " << answer;
            set(number);
            ++answer;
        }
    }

    // What no base type may do, an assignment may not either.
    EXPECT_EQ(raisedBy([&] { *pointer = *toSelf; }), refusalsOfPointer.at('r'));
    PointerType* const farther = owner.pointer(owner.pointer(number));
    static_cast<PointerType*>(farther->getBaseType())->setBaseType(owner.pointer(number));
    auto* const last = static_cast<PointerType*>(static_cast<PointerType*>(farther->getBaseType())->getBaseType());
    EXPECT_EQ(raisedBy([&] { *last = *farther; }), refusalsOfPointer.at('r'));
    MatrixType* const ofPointers = owner.matrix(toNumber, {2});
    static_cast<PointerType*>(ofPointers->getBaseType())->setBaseType(numbers);
    EXPECT_EQ(raisedBy([&] { *numbers = *ofPointers; }), refusalsOfMatrix.at('r'));
    EXPECT_EQ(numbers->getBaseType(), number);
}

TEST_F(Composition, OfMatricesTakesWholeSizesAboveZero) {
    const Raised positive{"embeddedtype:matrix:InvalidDims", "Dimensions should be vector of positive numbers"};
    const Raised trailing{"embeddedtype:matrix:InvalidDims", "The trailing dimension should be greater than 1"};
    constexpr double kInf = std::numeric_limits<double>::infinity();
    const struct {
        std::vector<std::vector<double>> dimensions;
        Raised raised;
        std::uint64_t width;
    } rows[] = {
        {{{2, 3}, {6}, {3, 1, 2}}, {}, 6},
        {{{1}, {1, 1}}, {}, 1},
        {{{2, 1}}, {}, 2},
        {{{2, 3, 1}, {1, 1, 1}}, trailing, 49},
        {{{2.5}, {0}, {3, -1}, {kInf}, {-kInf}, {std::nan("")}, {0x1p64}, {2, 0.5, 1}}, positive, 49},
        {{{0x1p63}}, {}, std::uint64_t{1} << 63U},
        {{{0x1p40, 0x1p40}}, {}, ~std::uint64_t{0}},
    };
    MatrixType* const matrix = owner.make<MatrixType>(false);
    const std::uint64_t old[] = {7, 7};
    for (const auto& row : rows) {
        for (const std::vector<double>& sizes : row.dimensions) {
            matrix->setDims(2, old);
            const hvArrayOwner array = vectorOf(sizes);
            EXPECT_EQ(raisedBy([&] { matrix->setDims(array.get()); }), row.raised) << sizes[0];
            EXPECT_EQ(matrix->getWidth(), row.width) << sizes[0];
            const bool isKept = row.raised == Raised{};
            EXPECT_EQ(matrix->getNumDimensions(), isKept ? sizes.size() : 2);
            EXPECT_EQ(hvGetNumberOfElements(matrix->getDims()), matrix->getNumDimensions());
            EXPECT_EQ(matrix->getDimension(matrix->getNumDimensions()), 0u);
            EXPECT_EQ(static_cast<double>(matrix->getDimension(0)), isKept ? sizes[0] : 7.0);
        }
    }
    const hvArrayOwner integers(hvCreateNumericMatrix(1, 2, hvINT16_CLASS, hvREAL));
    const hvArrayOwner notVector(hvFastZeros(2, 2));
    for (const hvArray* const array : {integers.get(), notVector.get(), static_cast<hvArray*>(nullptr)}) {
        EXPECT_EQ(raisedBy([&] { matrix->setDims(array); }), positive);
    }
    std::ranges::fill(hvGetTypedData<std::int16_t>(integers.get()), std::int16_t{5});
    matrix->setDims(integers.get());
    EXPECT_EQ(matrix->getWidth(), 25u);
    matrix->setFrameData(true);
    const MatrixType copy(*matrix);
    EXPECT_TRUE(copy.compareDims(matrix));
    EXPECT_TRUE(copy.getFrameData());
    matrix->setDims(0, nullptr);
    EXPECT_EQ(raisedBy([&] { matrix->getWidth(); }), positive);
    EXPECT_FALSE(copy.compareDims(matrix));
    EXPECT_EQ(copy.getWidth(), 25u);
}

TEST_F(Composition, OfEnumerationsTakesNamesAndThenAsManyWholeValues) {
    const Raised invalid{"embeddedtype:enum:InvalidValues", "Values should be vector of +ve or -ve integers"};
    const Raised mismatch{"embeddedtype:enum:ValuesandStringsMismatch",
                          "Number of values should be equal to number of strings"};
    FIEnumType type(false);
    EXPECT_EQ(type.getNumBits(), 32);
    EXPECT_TRUE(type.getSignedNess());
    EXPECT_EQ(type.getDefaultMember(), 0);
    const StringVector names = {"red", "green"};
    type.setStrings(&names);
    const auto valuesAre = [&](const std::vector<double>& expected) {
        std::vector<double> values;
        hvDispatchClass(hvGetClassID(type.getHvValues()), [&]<class T>(std::type_identity<T>) {
            for (const T value : hvGetTypedData<T>(type.getHvValues())) {
                values.push_back(static_cast<double>(value));
            }
        });
        EXPECT_EQ(values, expected);
    };
    const struct {
        std::vector<double> values;
        Raised raised;
    } rows[] = {{{-1, 1}, {}}, {{1}, mismatch}, {{1, 2, 3}, mismatch}, {{}, mismatch}, {{1, 2.5}, invalid}};
    for (const auto& row : rows) {
        const hvArrayOwner array = vectorOf(row.values);
        EXPECT_EQ(raisedBy([&] { type.setHvValues(array.get()); }), row.raised);
        valuesAre({-1, 1});
    }
    EXPECT_EQ(raisedBy([&] { type.setHvValues(nullptr); }), invalid);
    const hvArrayOwner bytes(hvCreateNumericMatrix(1, 2, hvUINT8_CLASS, hvREAL));
    type.setHvValues(bytes.get());
    type.setMemberAt("blue", -300, 1);
    type.setMemberAt("none", 5, 2);
    valuesAre({0, -300});
    EXPECT_EQ(type.getStrings(), (StringVector{"red", "blue"}));

    EXPECT_TRUE(type == FIEnumType(false));  // members don't count
    const FIEnumType copy(type);
    type.setStrings(&names);  // drops the values
    valuesAre({});
    type = copy;
    valuesAre({0, -300});
    type = FIEnumType(3, false);
    type.setMemberAt("last", 9, 2);
    valuesAre({0, 0, 9});
    EXPECT_EQ(raisedBy([] { FIEnumType(std::uint64_t{1} << 62U, false); }),
              (Raised{"embeddedtype:memory:OutofMemory", "Insufficient memory: Out of memory error"}));
}

TEST_F(Composition, OfStructuresTakesNamedElementsAndKeepsTheOldOnesOtherwise) {
    auto* const record = owner.make<StructType>(false);
    const Vector good = elementsOf({new StructElement(number, "b"), new StructElement(owner.pointer(record), "a")});
    record->setElements(&good);
    const Vector old = record->getElements();
    ASSERT_EQ(old.size(), 2u);
    EXPECT_NE(old[0], good[0]);  // a copy
    EXPECT_EQ(record->getElementHandleAt(0), old[0]);
    EXPECT_EQ(record->getElementByName("a"), record->getElementAt(1));
    EXPECT_EQ(record->getElementByName("c"), nullptr);
    EXPECT_EQ(record->getElementByName(nullptr), nullptr);
    EXPECT_EQ(record->getElementAt(2), nullptr);
    StructElement outside(number, "b");
    EXPECT_TRUE(record->isElement(&outside));
    // An element cannot take a structure that holds it or its equal.
    EXPECT_EQ(raisedBy([&] { outside.setType(record); }), refusalsOfElement.at('v'));
    EXPECT_EQ(raisedBy([&] { record->getElementAt(0)->setType(record); }), refusalsOfElement.at('v'));
    outside.setIdentifier("c");
    EXPECT_FALSE(record->isElement(&outside));

    const auto with = [&](StructElement* element) { return elementsOf({new StructElement(number, "a"), element}); };
    const Raised incomplete{"embeddedtype:struct:IncompleteElement",
                            "All elements should have a valid Type and Identifier"};
    const Raised invalid{"embeddedtype:struct:InvalidElement",
                         "Elements should be vector of embedded.structelement objects"};
    Record<NumericType> foreignClass;
    const HandleReference foreign = HandleReference::adopt(new OMInterface(nullptr, &foreignClass, nullptr));
    const std::pair<Vector, Raised> refused[] = {
        {with(new StructElement(nullptr, "d")), incomplete},
        {with(new StructElement(number, nullptr)), incomplete},
        {with(new StructElement(number, "a")),
         {"embeddedtype:struct:NameClash", "Elements should have unique identifiers"}},
        {with(new StructElement(record, "d")),
         {"embeddedtype:struct:RecursiveElement", "Parameter contains invalid Structure Element"}},
        {{good[0], nullptr}, invalid},
        {{good[0], foreign.get()}, invalid},
    };
    for (const auto& [elements, raised] : refused) {
        EXPECT_EQ(raisedBy([&, &e = elements] { record->setElements(&e); }), raised);
        EXPECT_EQ(record->getElements(), old);
    }
    EXPECT_EQ(raisedBy([&] { record->setMemberAt(owner.make<VoidType>(false), "v", 0); }), refusalsOfElement.at('i'));
    record->setMemberAt(number, "e", 2);
    EXPECT_EQ(record->getElements(), old);
    record->setMemberAt(number, "d", 1);
    EXPECT_EQ(record->getElementByName("d"), record->getElementAt(1));

    const StructType copy(*record);
    record->setElements(nullptr);
    EXPECT_FALSE(record->isComplete());
    *record = copy;
    EXPECT_TRUE(*record == copy);
    EXPECT_EQ(StructType(2U, false).getElementAt(1), nullptr);
    EXPECT_EQ(raisedBy([] { StructType(~std::uint64_t{0}, false); }).id, "embeddedtype:memory:OutofMemory");
}

}  // namespace
