// The base of the type tree: texts, qualifiers, the answers of scalar types, and who ends whom when a descriptor and
// its host handle go.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/OMClass.h"
#include "host/OMInterface.h"
#include "tests/support/errors.h"
#include "typesystem/ScalarType.h"
#include "typesystem/class_records.h"

namespace {

using EmbeddedTypeSystem::ScalarType;
using EmbeddedTypeSystem::Type;

class Leaf : public ScalarType {
 public:
    bool operator==(const Type& other) const override { return Type::operator==(other); }
    bool canBeConvertedTo(const Type* other) const override { return Type::canBeConvertedTo(other); }
    void accept(EmbeddedTypeSystem::EmbeddedTypeVisitor*) override {}
    OMClass* getOMClass() const override { return EmbeddedTypeSystem::ClassRecordOf<Leaf>::get("leaf"); }
};

TEST(Type, AnswersAsAScalarAndNothingElse) {
    const Leaf leaf;
    EXPECT_EQ(leaf.getWidth(), 1u);
    EXPECT_EQ(leaf.isScalar(), 1u);
    EXPECT_TRUE(leaf.isComplete());
    EXPECT_EQ(leaf.isComplex() + leaf.isStructure() + leaf.isMatrix() + leaf.isVoid() + leaf.isPointer() +
                  leaf.isOpaque() + leaf.hash() + leaf.compare(&leaf),
              0u);
    EXPECT_TRUE(leaf.canBeConvertedTo(nullptr));
}

TEST(Type, TakesTextsOfUpTo128CharactersAndKeepsTheOldOneOtherwise) {
    const Raised tooLong{"embeddedtype:string:InvalidStringParam",
                         "Parameter must be a string less than 128 characters"};
    const std::string longest(128, 'x');
    for (const auto& [set, get] :
         {std::pair{&Type::setName, &Type::getName}, std::pair{&Type::setIdentifier, &Type::getIdentifier}}) {
        Leaf leaf;
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

TEST(Type, ComparesQualifiersAlone) {
    Leaf a;
    Leaf b;
    a.setName("a");
    EXPECT_TRUE(a == b);
    for (const auto& set : {&Type::setReadOnly, &Type::setVolatile}) {
        (b.*set)(true);
        EXPECT_TRUE(b.hasQualifier());
        EXPECT_FALSE(a == b);
        (b.*set)(false);
        EXPECT_FALSE(b.hasQualifier());
        EXPECT_TRUE(a == b);
    }
}

/// Ends its objects as the type classes do, and counts.
class LeafClass : public OMClass {
 public:
    void destroyObject(OMInterface* interface) override {
        ++destroyed;
        if (auto* leaf = static_cast<Leaf*>(interface->getObject())) {
            leaf->setCanDeleteOMI(false);
            if (!leaf->isBeingDeleted()) {
                delete leaf;
            }
        }
    }
    int destroyed = 0;
};

TEST(Type, GivesUpItsHandleWhenItGoesWithoutBeingEndedTwice) {
    LeafClass leafClass;
    auto* leaf = new Leaf;
    leaf->setOMI(new OMInterface(leaf, &leafClass, nullptr));
    delete leaf;
    EXPECT_EQ(leafClass.destroyed, 1);

    // The host's way: the last reference goes, and the class ends the object.
    leaf = new Leaf;
    OMInterface* const handle = new OMInterface(leaf, &leafClass, nullptr);
    leaf->setOMI(handle);
    OMInterface::operator delete(handle);
    EXPECT_EQ(leafClass.destroyed, 2);
}

TEST(Type, LeavesTheHandleToTheHostWhenItMayNotDeleteIt) {
    LeafClass leafClass;
    OMInterface* const handle = new OMInterface(nullptr, &leafClass, nullptr);
    {
        Leaf leaf;
        leaf.setOMI(handle);
        leaf.setCanDeleteOMI(false);
    }
    EXPECT_EQ(handle->getNumberOfReferences(), 1);
    OMInterface::operator delete(handle);
    EXPECT_EQ(leafClass.destroyed, 1);
}

TEST(Type, HoldsOneReferenceOnOneHandleAtATime) {
    LeafClass leafClass;
    Leaf leaf;
    OMInterface* const first = new OMInterface(nullptr, &leafClass, nullptr);
    leaf.setOMI(first);
    EXPECT_EQ(leaf.getOMIWithoutCreating(), first);
    {
        const Leaf copy(leaf);
        EXPECT_EQ(copy.getOMIWithoutCreating(), nullptr);
        EXPECT_EQ(first->getNumberOfReferences(), 1);
    }
    leaf = Leaf();
    EXPECT_EQ(leaf.getOMIWithoutCreating(), first);
    leaf.setOMI(new OMInterface(nullptr, &leafClass, nullptr));
    EXPECT_EQ(leafClass.destroyed, 1);
    leaf.setOMI(nullptr);
    EXPECT_EQ(leafClass.destroyed, 2);
}

TEST(Type, CopiesTextsAndQualifiersAsValues) {
    Leaf original;
    original.setName("name");
    original.setIdentifier("identifier");
    original.setVolatile(true);
    original.setCanDeleteOMI(false);
    const Leaf copy(original);
    Leaf assigned;
    assigned = original;
    original.setName("changed");
    for (const Leaf* leaf : {&copy, static_cast<const Leaf*>(&assigned)}) {
        EXPECT_STREQ(leaf->getName(), "name");
        EXPECT_STREQ(leaf->getIdentifier(), "identifier");
        EXPECT_TRUE(leaf->getVolatile());
        EXPECT_FALSE(leaf->getReadOnly());
        // The flags belong to the handle, and a copy has none yet.
        EXPECT_TRUE(leaf->canDeleteOMI());
        EXPECT_EQ(leaf->getOMIWithoutCreating(), nullptr);
    }
}

}  // namespace
