// Who keeps whom: composites keep their parts by references on handles, and types that nothing outside reaches end,
// also where they hold one another.
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "tests/support/errors.h"
#include "tests/support/type_trees.h"
#include "typesystem/MD5CheckSumModEndian.h"
#include "typesystem/base_chain.h"

namespace {

using namespace typetrees;

/// Counts the objects alive, over all classes.
struct Count {
    Count() { ++sAlive; }
    Count(const Count&) = delete;
    Count& operator=(const Count&) = delete;
    ~Count() { --sAlive; }
    static inline std::size_t sAlive = 0;
};
template <class Base>
struct Counted : Base, Count {
    using Base::Base;
};

struct Lifetimes : ::testing::Test {
    Lifetimes() { TypeCycles::collect(); }
    ~Lifetimes() override { EXPECT_EQ(Count::sAlive, 0u); }
    Owner owner;
};

/// Makes a type whose first reference is in the caller's hands.
template <class Made, class... Arguments>
std::pair<Made*, HandleReference> held(Arguments... arguments) {
    auto* const type = new Counted<Made>(arguments...);
    return {type, HandleReference::adopt(type->getOMI())};
}

TEST_F(Lifetimes, CompositesHoldOneReferenceOnTheHandleOfAPart) {
    auto partOwner = held<NumericType>();
    auto otherOwner = held<NumericType>();
    NumericType* const part = partOwner.first;
    NumericType* const other = otherOwner.first;
    const auto references = [&] { return partOwner.second.get()->getNumberOfReferences(); };
    {
        ComplexType complex(part, false);
        EXPECT_EQ(references(), 2);
        complex.setBaseType(part);
        EXPECT_EQ(references(), 2);
        const ComplexType copy(complex);
        PointerType pointer(part, false);
        MatrixType matrix(false);
        matrix.setBaseType(part);
        StructElement element(part, "e");
        EXPECT_EQ(references(), 6);
        complex.setBaseType(other);
        pointer.setBaseType(other);
        matrix.setBaseType(other);
        element.setType(other);
        EXPECT_EQ(references(), 2);
        EXPECT_EQ(otherOwner.second.get()->getNumberOfReferences(), 5);
        StructType structure(1U, false);
        structure.setMemberAt(part, "m", 0);
        const StructType again(structure);
        EXPECT_EQ(references(), 4);
        structure.setMemberAt(other, "m", 0);
        complex = copy;
        EXPECT_EQ(references(), 4);
    }
    EXPECT_EQ(references(), 1);

    // The part lives on by its composites alone, and ends with the last.
    auto pointer = held<PointerType>(part, false);
    auto matrix = held<MatrixType>(false);
    matrix.first->setBaseType(pointer.first);
    partOwner.second = {};
    pointer.second = {};
    otherOwner.second = {};
    EXPECT_EQ(Count::sAlive, 3u);
    EXPECT_EQ(static_cast<PointerType*>(matrix.first->getBaseType())->getBaseType(), part);
}

TEST_F(Lifetimes, APartWithoutHandleIsBorrowedAndOneThatGetsAHandleIsNotGivenUpUnheld) {
    CharType part(false);
    PointerType first(&part, false);
    EXPECT_EQ(part.getOMIWithoutCreating(), nullptr);
    OMInterface* const handle = part.getOMI();
    EXPECT_EQ(part.getOMI(), handle);
    {
        const PointerType second(&part, false);
        EXPECT_EQ(handle->getNumberOfReferences(), 2);
        NumericType other;
        first.setBaseType(&other);
        EXPECT_EQ(handle->getNumberOfReferences(), 2);
        first.setBaseType(&part);
    }
    EXPECT_EQ(handle->getNumberOfReferences(), 2);
    StructElement element(&part, "e");
    EXPECT_EQ(handle->getNumberOfReferences(), 3);
}

TEST_F(Lifetimes, ConstructorsMakeAHandleWhenAskedAndNoneWhenRefused) {
    const hvArrayOwner sizes(hvCreateDoubleScalar(2));
    for (const bool makesHandle : {false, true}) {
        NumericType number;
        Type* const made[] = {
            new CharType(makesHandle),       new CharType(7, false, makesHandle),
            new FIEnumType(makesHandle),     new VoidType(makesHandle),
            new OpaqueType(makesHandle),     new ComplexType(makesHandle),
            new MatrixType(makesHandle),     new PointerType(makesHandle),
            new StructType(makesHandle),     new ComplexType(&number, makesHandle),
            new StructType(2U, makesHandle), new PointerType(&number, makesHandle),
            new FIEnumType(2U, makesHandle), new MatrixType(&number, sizes.get(), makesHandle),
        };
        for (Type* const type : made) {
            OMInterface* const handle = type->getOMIWithoutCreating();
            EXPECT_EQ(handle != nullptr, makesHandle);
            if (handle != nullptr) {
                EXPECT_EQ(handle->getClass(), type->getOMClass());
                EXPECT_EQ(handle->getObject(), type);
            }
            delete type;
        }
    }
    VoidType nothing(true);
    EXPECT_EQ(raisedBy([&] { new ComplexType(&nothing, true); }).id, "embeddedtype:complexbasetype:invalidbasetype");
    EXPECT_EQ(raisedBy([&] { new MatrixType(&nothing, sizes.get(), true); }).id,
              "embeddedtype:matrixbasetype:incompletebasetype");
    EXPECT_EQ(raisedBy([&] { new StructElement(&nothing, "v"); }).id, "embeddedtype:elementtype:incompletetype");
    EXPECT_EQ(nothing.getOMI()->getNumberOfReferences(), 1);
    ClassRecordOf<VoidType>::set(nullptr);
    EXPECT_EQ(raisedBy([] { VoidType unknown(true); }),
              (Raised{"embeddedtype:class:notRegistered", "The class 'embedded.voidtype' is not registered."}));
}

TEST_F(Lifetimes, ListsThatPointAtThemselvesEndWhenNothingElseHoldsThem) {
    auto list = held<StructType>(2U, false);
    auto next = held<PointerType>(list.first, false);
    auto number = held<NumericType>();
    list.first->setMemberAt(next.first, "next", 0);
    list.first->setMemberAt(number.first, "payload", 1);
    list.second = {};
    number.second = {};
    EXPECT_EQ(TypeCycles::collect(), 0u);  // reached by `next`
    EXPECT_EQ(list.first->getElementAt(1)->getType(), number.first);
    // A reference on an element keeps what the element leads to.
    HandleReference element = HandleReference::to(list.first->getElementHandleAt(0));
    next.second = {};
    EXPECT_EQ(TypeCycles::collect(), 0u);
    EXPECT_EQ(Count::sAlive, 3u);
    // So does a composite without handle.
    auto borrower = std::make_unique<PointerType>(list.first, false);
    element = {};
    EXPECT_EQ(TypeCycles::collect(), 0u);
    borrower.reset();
    EXPECT_EQ(Count::sAlive, 3u);
    EXPECT_EQ(TypeCycles::collect(), 1u);
    EXPECT_EQ(Count::sAlive, 0u);

    // Without being told to, cycles are collected as structures are made.
    for (int i = 0; i < 1000; ++i) {
        auto ring = held<StructType>(1U, false);
        ring.first->setMemberAt(ring.first, "self", 0);
    }
    EXPECT_LT(Count::sAlive, 500u);
    TypeCycles::collect();
}

/// Builds, rewires and drops types at random.
class World {
 public:
    explicit World(unsigned seed) : mRandom(seed) {}

    void step() {
        static_cast<void>(raisedBy([this] {
            switch (below(12)) {
                case 0:
                    return keep(held<NumericType>());
                case 1:
                    return keep(held<PointerType>(any(), false));
                case 2:
                    return keep(heldMatrix(any()));
                case 3:
                    return keep(held<ComplexType>(any(), false));
                case 4:
                    return keep(held<StructType>(std::uint64_t{below(4)}, false));
                case 5:
                    return setBase(any(), any());
                case 6:
                    return setMember(dynamic_cast<StructType*>(any()), any());
                case 7:
                    return exchange(dynamic_cast<StructType*>(any()), dynamic_cast<StructType*>(any()));
                case 8:
                    return assign(dynamic_cast<PointerType*>(any()), dynamic_cast<PointerType*>(any()));
                case 9:
                    return promote(any());
                case 10:
                    return ask(any(), any());
                default:
                    return drop();
            }
        }));
        while (mRoots.size() > 25) {
            drop();
        }
    }

    /// Counts what the kept references lead to.
    std::size_t countReached() const {
        std::set<const Type*> reached;
        std::vector<const Type*> waiting;
        for (const HandleReference& root : mRoots) {
            waiting.push_back(static_cast<Type*>(root.get()->getObject()));
        }
        while (!waiting.empty()) {
            const Type* const type = waiting.back();
            waiting.pop_back();
            if (type != nullptr && reached.insert(type).second) {
                const std::vector<Type*> parts = partsOf(type);
                waiting.insert(waiting.end(), parts.begin(), parts.end());
            }
        }
        return reached.size();
    }

    void drop() {
        if (!mRoots.empty()) {
            std::swap(mRoots[below(mRoots.size())], mRoots.back());
            mRoots.pop_back();
        }
    }
    bool isEmpty() const { return mRoots.empty(); }

 private:
    static std::vector<Type*> partsOf(const Type* type) {
        if (Type* const base = baseOf(type)) {
            return {base};
        }
        std::vector<Type*> parts;
        if (const auto* structure = dynamic_cast<const StructType*>(type)) {
            for (std::uint64_t i = 0; i < structure->getNumElements(); ++i) {
                const StructElement* const element = structure->getElementAt(i);
                parts.push_back(element == nullptr ? nullptr : element->getType());
            }
        }
        return parts;
    }

    std::size_t below(std::size_t limit) { return mRandom() % limit; }
    Type* any() {
        return mRoots.empty() ? nullptr : static_cast<Type*>(mRoots[below(mRoots.size())].get()->getObject());
    }
    template <class Made>
    void keep(std::pair<Made*, HandleReference> made) {
        mRoots.push_back(std::move(made.second));
    }
    static std::pair<MatrixType*, HandleReference> heldMatrix(Type* base) {
        auto made = held<MatrixType>(false);
        made.first->setBaseType(base);
        return made;
    }
    template <class Composite>
    static void setBaseOf(Type* type, Type* base) {
        if (auto* const composite = dynamic_cast<Composite*>(type)) {
            composite->setBaseType(base);
        }
    }
    static void setBase(Type* type, Type* base) {
        setBaseOf<PointerType>(type, base);
        setBaseOf<MatrixType>(type, base);
        setBaseOf<ComplexType>(type, base);
    }
    void setMember(StructType* structure, Type* type) {
        if (structure != nullptr) {
            const auto toItself = held<PointerType>(structure, false);
            const char* const names[] = {"a", "b", "c", "d"};
            structure->setMemberAt(below(2) == 0 ? toItself.first : type, names[below(4)], below(4));
        }
    }
    static void exchange(StructType* structure, const StructType* other) {
        if (structure != nullptr && other != nullptr) {
            const Vector elements = other->getElements();
            structure->setElements(&elements);
        }
    }
    static void assign(PointerType* pointer, const PointerType* other) {
        if (pointer != nullptr && other != nullptr) {
            *pointer = *other;
        }
    }
    void promote(const Type* type) {
        const std::vector<Type*> parts = partsOf(type);
        if (!parts.empty() && parts.back() != nullptr) {
            mRoots.push_back(HandleReference::to(parts.back()->getOMI()));
        }
    }
    static void ask(const Type* a, const Type* b) {
        if (a != nullptr && b != nullptr) {
            const bool areEqual = *a == *b;
            EXPECT_EQ(areEqual, *b == *a);
            static_cast<void>(a->canBeConvertedTo(b));
            MD5CheckSumModEndian sumOfA;
            MD5CheckSumModEndian sumOfB;
            a->addCheckSum(sumOfA);
            b->addCheckSum(sumOfB);
            EXPECT_TRUE(!areEqual || sumOfA.getDigest() == sumOfB.getDigest());
        }
    }

    std::mt19937 mRandom;
    std::vector<HandleReference> mRoots;
};

TEST_F(Lifetimes, ExactlyTheTypesThatAreReachedLiveHoweverTheyWereWired) {
    std::size_t collected = 0;
    std::size_t mostReached = 0;
    for (unsigned seed = 0; seed < 8; ++seed) {
        SCOPED_TRACE(seed);
        World world(seed);
        for (int i = 0; i < 2000; ++i) {
            world.step();
            const std::size_t reached = world.countReached();
            mostReached = std::max(mostReached, reached);
            ASSERT_GE(Count::sAlive, reached);
            if (i % 20 == 0) {
                collected += TypeCycles::collect();
                ASSERT_EQ(Count::sAlive, reached);
            }
        }
        while (!world.isEmpty()) {
            world.drop();
        }
        collected += TypeCycles::collect();
        ASSERT_EQ(Count::sAlive, 0u);
    }
    // The walk met what it is meant to meet.
    EXPECT_GT(collected, 100u);
    EXPECT_GT(mostReached, 25u);
}

}  // namespace
