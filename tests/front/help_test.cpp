// What sessions say about the classes, beside the records themselves.
#include <algorithm>
#include <set>

#include "host/om.h"
#include "tests/front/front_support.h"

namespace {

using Help = FrontTest;
using Names = std::set<std::pair<std::string, std::string>>;

TEST_F(Help, DescribesEveryMemberAndNothingElse) {
    const auto described = front::describedNames();
    Names unused(described.begin(), described.end());
    EXPECT_EQ(unused.size(), described.size()) << "a name is described twice";
    const auto use = [&](const std::string& className, const std::string& member) {
        if (unused.erase({className, member}) == 0 && !std::ranges::count(described, std::pair(className, member))) {
            unused.erase({"", member});
        }
        const std::string_view text = front::descriptionOf(className, member);
        EXPECT_TRUE(text.ends_with('.')) << className << "." << member;
    };
    for (const OMClass* const objectClass : OMApplicationManager::getApplication("embedded")->getLocalClasses()) {
        use(objectClass->getName(), "");
        for (const OMPropInfo* const property : objectClass->getProperties()) {
            if (property->getClass() == objectClass) {
                use(objectClass->getName(), property->getName());
            }
        }
        for (const OMMethodInfo* const method : objectClass->getMethods()) {
            if (method->getClass() == objectClass) {
                use(objectClass->getName(), method->getName());
            }
        }
    }
    for (const auto& [className, member] : unused) {
        ADD_FAILURE() << className << "." << member << " is described, but doesn't exist";
    }
}

TEST_F(Help, PrintsOrReturnsWhatTheRecordsSay) {
    const Value array = s16(0.5);
    const struct {
        const char* function;
        Arguments arguments;
        std::vector<const char*> parts;
    } rows[] = {
        {"help", {}, {"  embedded.fi\n      An array of fixed-point numbers", "  embedded.structtype\n"}},
        {"help",
         {array, "plus"},
         {"  plus(fi, fi) -> fi\n  plus(fi, array) -> fi\n  plus(array, fi) -> fi\n      Sums, in the type"}},
        {"help",
         {"fimath", "RoundMode"},
         {"  RoundMode  (read and set)\n      How values between two words are rounded.\n      Values: ceil | "
          "convergent"}},
        {"help", {array, "WordLength"}, {"  WordLength  (read)\n      The number of bits.\n      Values: int32\n"}},
        {"help",
         {"embedded.fi"},
         {"made as embedded.fi(array, array)", "\nProperties of embedded.fi:\n", "\nMethods of"}},
        {"methods",
         {array},
         {"Methods of embedded.fi:\n", "  static simfi(numerictype, array) -> fi\n", "  conv(...)\n      conv(a, b)"}},
        {"properties",
         {"embedded.quantizer"},
         {"Properties of embedded.quantizer:\n", "  roundmode  (read and set)\n"}},
    };
    for (const auto& row : rows) {
        const std::string text = session.call(row.function, row.arguments).toText();
        for (const char* const part : row.parts) {
            EXPECT_NE(text.find(part), std::string::npos) << part << " in\n" << text;
        }
        EXPECT_EQ(session.takePrinted(), "");
        EXPECT_TRUE(session.call(0, row.function, row.arguments).empty());
        EXPECT_EQ(session.takePrinted(), text);
    }
    EXPECT_EQ(thrownBy([&] { session.call("help", {array, "puls"}); }).id, "VELMAR:help:unknownName");
    EXPECT_EQ(thrownBy([&] { session.call("methods", {"fixed"}); }).id, "VELMAR:class:unknown");
    EXPECT_NE(thrownBy([&] { session.call("properties"); }).id, "");
}

}  // namespace
