#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "descriptors/fimath.h"
#include "tests/support/errors.h"
#include "tests/support/rules.h"

namespace {

using Round = embedded::RoundModeEnum;
using Overflow = embedded::OverflowModeEnum;

/// Every test starts without a global object and without handles, and puts back what it found.
class GlobalFimath : public ::testing::Test {
 protected:
    void SetUp() override {
        ASSERT_EQ(fimath::getGlobalFimathRefCount(), 0u) << "another test left a handle counted";
        fimath::resetGlobalFimath();
    }
    void TearDown() override {
        while (fimath::getGlobalFimathRefCount() != 0) {
            fimath::decGlobalFimathRefCount();
        }
        fimath::setGlobalFimath(mBefore);
    }

    const fimath mBefore = fimath::getGlobalFimath();
};

TEST_F(GlobalFimath, IsMadeFromFactoryValuesByItsFirstUser) {
    EXPECT_EQ(fieldsOf(fimath::getGlobalFimath()), factoryFields());
    fimath::resetGlobalFimath();
    // Not from the object of two modes.
    EXPECT_EQ(fieldsOf(fimath(Round::Ceil, Overflow::Wrap)),
              changed(factoryFields(), {{"RoundMode", 0}, {"OverflowMode", 1}}));
    fimath first;
    EXPECT_EQ(fieldsOf(first), factoryFields());
    // It is a copy of the first object, with its own life.
    first.setRoundMode(Round::Ceil);
    EXPECT_NE(&fimath::getGlobalFimath(), &first);
    EXPECT_EQ(fieldsOf(fimath::getGlobalFimath()), factoryFields());
}

TEST_F(GlobalFimath, IsCopiedByNewObjects) {
    fimath::setGlobalFimath(unusualRules());
    EXPECT_EQ(fieldsOf(fimath()), fieldsOf(unusualRules()));
    EXPECT_EQ(fieldsOf(fimath(Round::Convergent, Overflow::Saturate)),
              changed(fieldsOf(unusualRules()), {{"RoundMode", 1}, {"OverflowMode", 0}}));
    // A change of the object shows in what is made from then on.
    fimath::getGlobalFimath().setSumBias(7);
    EXPECT_EQ(fimath().getSumBias(), 7);
    fimath::resetGlobalFimath();
    EXPECT_EQ(fieldsOf(fimath()), factoryFields());
}

TEST_F(GlobalFimath, ChangesInPlaceWhileHandlesAreCounted) {
    fimath::incGlobalFimathRefCount();
    fimath::incGlobalFimathRefCount();
    EXPECT_EQ(fimath::getGlobalFimathRefCount(), 2u);
    const fimath& seen = fimath::getGlobalFimath();
    fimath::setGlobalFimath(unusualRules());
    EXPECT_EQ(fieldsOf(seen), fieldsOf(unusualRules()));
    fimath::resetGlobalFimath();
    EXPECT_EQ(fieldsOf(seen), factoryFields());
    fimath::decGlobalFimathRefCount();
    fimath::setGlobalFimath(unusualRules());
    EXPECT_EQ(fieldsOf(seen), fieldsOf(unusualRules()));
    fimath::resetGlobalFimathToFactory();
    EXPECT_EQ(fieldsOf(seen), factoryFields());
    EXPECT_EQ(&seen, &fimath::getGlobalFimath());
    for (const bool isCounted : {true, false}) {
        fimath::setGlobalFimath(unusualRules());
        fimath::setGlobalFimath(fimath::getGlobalFimath());
        EXPECT_EQ(fieldsOf(fimath::getGlobalFimath()), fieldsOf(unusualRules())) << isCounted;
        while (fimath::getGlobalFimathRefCount() != 0) {
            fimath::decGlobalFimathRefCount();
        }
    }
}

TEST_F(GlobalFimath, NeedNotExistToBeResetOrSet) {
    fimath::resetGlobalFimath();
    fimath::resetGlobalFimathToFactory();
    // A handle counted before there is an object.
    fimath::incGlobalFimathRefCount();
    fimath::resetGlobalFimath();
    fimath::resetGlobalFimathToFactory();
    fimath::setGlobalFimath(unusualRules());
    EXPECT_EQ(fieldsOf(fimath::getGlobalFimath()), fieldsOf(unusualRules()));
}

TEST(FimathDictionary, KeepsCopiesByTag) {
    const Raised unknown{"fixedpoint:fimath:InvalidFimathKey",
                         "The fimath dictionary does not contain a fimath with that tag."};
    const Raised unknownToGet{"VELMAR:class:MustBeHandle", "Parameter must be a handle."};
    const std::string tag = "dictionary test";
    ASSERT_FALSE(fimath::fimathMapKeyExists(tag));
    const std::size_t others = fimath::getFimathMap()->size();
    const fimath other(Round::Ceil, Overflow::Wrap);

    EXPECT_EQ(raisedBy([&] { fimath::getFromFimathMap(tag); }), unknownToGet);
    EXPECT_EQ(raisedBy([&] { fimath::replaceInFimathMap(tag, other); }), unknown);
    EXPECT_EQ(raisedBy([&] { fimath::eraseFromFimathMap(tag); }), unknown);
    EXPECT_EQ(fimath::getFimathMap()->size(), others);

    {
        const fimath source = unusualRules();
        fimath::addToFimathMap(tag, source);
    }
    EXPECT_TRUE(fimath::fimathMapKeyExists(tag));
    EXPECT_EQ(raisedBy([&] { fimath::addToFimathMap(tag, other); }),
              (Raised{"fixedpoint:fimath:FimathKeyExists",
                      "The fimath dictionary already contains a fimath with the tag: dictionary test"}));
    EXPECT_EQ(fieldsOf(fimath::getFromFimathMap(tag)), fieldsOf(unusualRules()));
    EXPECT_EQ(&fimath::getFimathMap()->at(tag), &fimath::getFromFimathMap(tag));

    fimath::replaceInFimathMap(tag, other);
    fimath::replaceInFimathMap(tag, fimath::getFromFimathMap(tag));
    EXPECT_EQ(fieldsOf(fimath::getFromFimathMap(tag)), fieldsOf(other));

    // Tags are any texts, in the order of their bytes; the empty one and one with a zero inside are tags too.
    const std::string tags[] = {"", std::string("a\0b", 3), "a"};
    for (const std::string& each : tags) {
        fimath::addToFimathMap(each, other);
    }
    std::vector<std::string> order;
    for (const auto& entry : *fimath::getFimathMap()) {
        order.push_back(entry.first);
    }
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(order.size(), others + 4);
    for (const std::string& each : tags) {
        fimath::eraseFromFimathMap(each);
    }
    fimath::eraseFromFimathMap(tag);
    EXPECT_EQ(raisedBy([&] { fimath::getFromFimathMap(tag); }), unknownToGet);
    EXPECT_EQ(fimath::getFimathMap()->size(), others);
}

}  // namespace
