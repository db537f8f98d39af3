// The base of the type tree: texts, copies, and who ends whom when a descriptor and its host handle go.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/errors.h"
#include "tests/support/type_trees.h"

namespace {

using namespace typetrees;

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
