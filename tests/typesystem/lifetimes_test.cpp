// Who keeps whom: a type and its handle, composites and their parts by references on handles, and types that nothing
// outside reaches, which end even where they hold one another; and the texts and qualifiers that copies take.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <set>
#include <string>

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
    ~Lifetimes() override {
        owner.references().clear();
        EXPECT_EQ(Count::sAlive, 0u);
    }
    Owner owner;
};

/// Makes a type whose first reference is in the caller's hands.
template <class Made, class... Arguments>
std::pair<Made*, HandleReference> held(Arguments... arguments) {
    auto* const type = new Counted<Made>(arguments...);
    return {type, HandleReference::adopt(type->getOMI())};
}

TEST_F(Lifetimes, CompositesHoldOneReferenceOnTheHandleOfAPart) {
    auto* const part = owner.make<Counted<NumericType>>();
    auto* const other = owner.make<Counted<NumericType>>();
    const auto references = [&] {
        return std::pair(part->getOMI()->getNumberOfReferences(), other->getOMI()->getNumberOfReferences());
    };
    {
        ComplexType complex(part, false);
        PointerType pointer(part, false);
        MatrixType matrix(false);
        matrix.setBaseType(part);
        StructElement element(part, "e");
        StructType structure(1U, false);
        structure.setMemberAt(part, "m", 0);
        EXPECT_EQ(references(), std::pair(6, 1));
        const ComplexType copy(complex);
        const StructType again(structure);
        complex.setBaseType(part);
        EXPECT_EQ(references(), std::pair(8, 1));
        complex.setBaseType(other);
        pointer.setBaseType(other);
        matrix.setBaseType(other);
        element.setType(other);
        structure.setMemberAt(other, "m", 0);
        EXPECT_EQ(references(), std::pair(3, 6));
        complex = copy;
        structure = again;
        EXPECT_EQ(references(), std::pair(5, 4));
    }
    EXPECT_EQ(references(), std::pair(1, 1));
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
    NumericType number;
    Type* const made[] = {new CharType(true),
                          new CharType(7, false, true),
                          new FIEnumType(true),
                          new FIEnumType(2U, true),
                          new VoidType(true),
                          new OpaqueType(true),
                          new ComplexType(true),
                          new ComplexType(&number, true),
                          new PointerType(true),
                          new MatrixType(true),
                          new PointerType(&number, true),
                          new MatrixType(&number, sizes.get(), true),
                          new StructType(true),
                          new StructType(2U, true)};
    for (Type* const type : made) {
        ASSERT_NE(type->getOMIWithoutCreating(), nullptr);
        EXPECT_EQ(type->getOMI()->getClass(), type->getOMClass());
        EXPECT_EQ(type->getOMI()->getObject(), type);
        delete type;
    }
    VoidType nothing(true);
    EXPECT_NE(raisedBy([&] { new ComplexType(&nothing, true); }), Raised{});
    EXPECT_NE(raisedBy([&] { new MatrixType(&nothing, sizes.get(), true); }), Raised{});
    EXPECT_NE(raisedBy([&] { new StructElement(&nothing, "v"); }), Raised{});
    EXPECT_EQ(nothing.getOMI()->getNumberOfReferences(), 1);
    ClassRecordOf<VoidType>::set(nullptr);
    EXPECT_EQ(raisedBy([] { VoidType unknown(true); }),
              (Raised{"embeddedtype:class:notRegistered", "The class 'embedded.voidtype' is not registered."}));
}

TEST_F(Lifetimes, ListsThatPointAtThemselvesEndWhenNothingElseHoldsThem) {
    auto list = held<StructType>(1U, false);
    auto next = held<PointerType>(list.first, false);
    list.first->setMemberAt(next.first, "next", 0);
    list.second = {};
    EXPECT_EQ(TypeCycles::collect(), 0u);  // reached by `next`
    HandleReference element = HandleReference::to(list.first->getElementHandleAt(0));
    next.second = {};
    EXPECT_EQ(TypeCycles::collect(), 0u);  // by the element
    auto borrower = std::make_unique<PointerType>(list.first, false);
    element = {};
    EXPECT_EQ(TypeCycles::collect(), 0u);  // by a composite without handle
    borrower.reset();
    EXPECT_EQ(Count::sAlive, 2u);
    EXPECT_EQ(TypeCycles::collect(), 1u);
    EXPECT_EQ(Count::sAlive, 0u);

    // Without being told to, cycles are collected as structures are made.
    for (int i = 0; i < 1000; ++i) {
        const auto ring = held<StructType>(1U, false);
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
        const std::function<void()> actions[] = {
            [&] { keep(held<NumericType>()); },
            [&] { keep(held<PointerType>(&any<Type>(), false)); },
            [&] { keep(held<ComplexType>(&any<Type>(), false)); },
            [&] { keep(held<MatrixType>(false)); },
            [&] { keep(held<StructType>(std::uint64_t{below(4)}, false)); },
            [&] { any<PointerType>().setBaseType(&any<Type>()); },
            [&] { any<ComplexType>().setBaseType(&any<Type>()); },
            [&] { any<MatrixType>().setBaseType(&any<Type>()); },
            [&] { any<StructType>().setMemberAt(&any<Type>(), name(), below(3)); },
            [&] {
                auto& structure = any<StructType>();
                structure.setMemberAt(held<PointerType>(&structure, false).first, name(), below(3));
            },
            [&] {
                const Vector elements = any<StructType>().getElements();
                any<StructType>().setElements(&elements);
            },
            [&] { any<PointerType>() = any<PointerType>(); },
            [&] { any<MatrixType>() = any<MatrixType>(); },
            [&] {
                for (Type* const part : partsOf(&any<Type>())) {
                    mRoots.push_back(HandleReference::to(part->getOMI()));
                }
            },
            [&] {
                const Type& a = any<Type>();
                const Type& b = any<Type>();
                EXPECT_EQ(a == b, b == a);
                static_cast<void>(a.canBeConvertedTo(&b));
                MD5CheckSumModEndian sum;
                a.addCheckSum(sum);
            },
        };
        static_cast<void>(raisedBy(actions[below(std::size(actions))]));
        while (mRoots.size() > 10 + below(30)) {
            std::swap(mRoots[below(mRoots.size())], mRoots.back());
            mRoots.pop_back();
        }
    }

    /// Counts what the kept references lead to.
    std::size_t countReached() const {
        std::set<const Type*> reached;
        std::vector<Type*> waiting;
        for (const HandleReference& root : mRoots) {
            waiting.push_back(static_cast<Type*>(root.get()->getObject()));
        }
        while (!waiting.empty()) {
            Type* const type = waiting.back();
            waiting.pop_back();
            if (reached.insert(type).second) {
                std::ranges::copy(partsOf(type), std::back_inserter(waiting));
            }
        }
        return reached.size();
    }

 private:
    static std::vector<Type*> partsOf(const Type* type) {
        std::vector<Type*> parts = {baseOf(type)};
        if (const auto* structure = dynamic_cast<const StructType*>(type)) {
            for (std::uint64_t i = 0; i < structure->getNumElements(); ++i) {
                const StructElement* const element = structure->getElementAt(i);
                parts.push_back(element == nullptr ? nullptr : element->getType());
            }
        }
        std::erase(parts, nullptr);
        return parts;
    }

    std::size_t below(std::size_t limit) { return limit == 0 ? 0 : mRandom() % limit; }
    const char* name() { return std::array{"a", "b", "c", "d"}[below(4)]; }
    /// Raises, which ends the step, when none of the class comes up.
    template <class Wanted>
    Wanted& any() {
        for (std::size_t i = below(3) + 1; i > 0 && !mRoots.empty(); --i) {
            auto* const type = static_cast<Type*>(mRoots[below(mRoots.size())].get()->getObject());
            if (auto* const wanted = dynamic_cast<Wanted*>(type)) {
                return *wanted;
            }
        }
        raiseError("test:none", "None");
    }
    template <class Made>
    void keep(std::pair<Made*, HandleReference> made) {
        mRoots.push_back(std::move(made.second));
    }

    std::mt19937 mRandom;
    std::vector<HandleReference> mRoots;
};

TEST_F(Lifetimes, ExactlyTheTypesThatAreReachedLiveHoweverTheyWereWired) {
    std::size_t collected = 0;
    std::size_t mostReached = 0;
    for (unsigned seed = 0; seed < 8; ++seed) {
        SCOPED_TRACE(seed);
        {
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
        }
        collected += TypeCycles::collect();
        ASSERT_EQ(Count::sAlive, 0u);
    }
    // The walk met what it is meant to meet.
    EXPECT_GT(collected, 100u);
    EXPECT_GT(mostReached, 25u);
}

TEST(Type, TakesTextsOfUpTo128CharactersAndKeepsTheOldOneOtherwise) {
    const Raised tooLong{"embeddedtype:string:InvalidStringParam",
                         "Parameter must be a string less than 128 characters"};
    const std::string longest(128, 'x');
    for (const auto& [set, get] :
         {std::pair{&Type::setName, &Type::getName}, std::pair{&Type::setIdentifier, &Type::getIdentifier}}) {
        VoidType leaf(false);
        EXPECT_EQ((leaf.*get)(), nullptr);
        (leaf.*set)("first");
        (leaf.*set)("");
        (leaf.*set)(nullptr);
        EXPECT_STREQ((leaf.*get)(), "first");
        EXPECT_EQ(raisedBy([&, setter = set] { (leaf.*setter)((longest + "y").c_str()); }), tooLong);
        EXPECT_STREQ((leaf.*get)(), "first");
        (leaf.*set)(longest.c_str());
        EXPECT_EQ((leaf.*get)(), longest);
        (leaf.*set)((leaf.*get)() + 120);  // a part of the very text it replaces
        EXPECT_STREQ((leaf.*get)(), "xxxxxxxx");
    }
}

struct CountingClass : Record<VoidType> {
    void destroyObject(OMInterface* interface) override {
        ++destroyed;
        Record::destroyObject(interface);
    }
    int destroyed = 0;
};

TEST(Type, HoldsOneReferenceOnOneHandleAndGivesItUpWithoutBeingEndedTwice) {
    CountingClass counting;
    auto* type = new VoidType(false);
    type->setOMI(new OMInterface(type, &counting, nullptr));
    delete type;
    EXPECT_EQ(counting.destroyed, 1);

    // The host's way: the last reference goes, and the class ends the object.
    type = new VoidType(false);
    OMInterface* handle = new OMInterface(type, &counting, nullptr);
    type->setOMI(handle);
    OMInterface::operator delete(handle);
    EXPECT_EQ(counting.destroyed, 2);

    // Nor does it touch the handle when it may not.
    handle = new OMInterface(nullptr, &counting, nullptr);
    {
        VoidType kept(false);
        kept.setOMI(handle);
        kept.setCanDeleteOMI(false);
    }
    EXPECT_EQ(handle->getNumberOfReferences(), 1);

    VoidType holder(false);
    holder.setOMI(handle);
    const VoidType copy(holder);
    EXPECT_EQ(copy.getOMIWithoutCreating(), nullptr);
    holder = VoidType(false);
    EXPECT_EQ(holder.getOMIWithoutCreating(), handle);
    EXPECT_EQ(handle->getNumberOfReferences(), 1);
    holder.setOMI(new OMInterface(nullptr, &counting, nullptr));
    EXPECT_EQ(counting.destroyed, 3);
    holder.setOMI(nullptr);
    EXPECT_EQ(counting.destroyed, 4);
}

TEST(Type, CopiesTextsAndQualifiersAsValues) {
    VoidType original(false);
    original.setName("name");
    original.setIdentifier("identifier");
    original.setVolatile(true);
    original.setCanDeleteOMI(false);
    const VoidType copy(original);
    VoidType assigned(false);
    assigned = original;
    original.setName("changed");
    for (const VoidType* type : {&copy, static_cast<const VoidType*>(&assigned)}) {
        EXPECT_STREQ(type->getName(), "name");
        EXPECT_STREQ(type->getIdentifier(), "identifier");
        EXPECT_TRUE(type->getVolatile() && !type->getReadOnly());
        EXPECT_TRUE(type->canDeleteOMI());  // belongs to the handle, and a copy has none yet
    }
}

}  // namespace
