// The module leaves the process when a host that loaded it by itself closes it, and comes back as new.
#include <dlfcn.h>

#include <fstream>

#include "host/bs.h"
#include "tests/binding/session_support.h"

namespace {

std::string fieldOfStatus(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name)) {
            return line.substr(name.size());
        }
    }
    return "0";
}

bool isMapped(const std::string& library) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(library) != std::string::npos) {
            return true;
        }
    }
    return false;
}

/// One life of the module, from its loading to its unloading, with something of most folders in between.
std::string life() {
    void* const library = dlopen(TOLVANE_MODULE, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        return dlerror();
    }
    const auto entry = [library](const char* name) { return reinterpret_cast<void (*)()>(dlsym(library, name)); };
    std::string shown;
    {
        Session session(hostref::Module{"tolvane", entry("VLInitialize_tolvane"), entry("VLTerminate_tolvane")});
        const Value type = session.construct("embedded.numerictype");
        type.set("WordLength", 70);
        const Value a = session.construct("embedded.fi", {Value(Numbers(3, 0.25)), type});
        const Value b = session.construct("embedded.fi", {Value(Numbers{1.0, -2.0, 0.5})});
        const Value sum = session.call("plus", {b, b});
        session.display(sum);
        shown = session.takePrinted() + a.get("hex").toText() + sum.get("hex").toText();
        for (const char* const className : {"embedded.fimath", "embedded.quantizer", "embedded.structtype"}) {
            session.construct(className);
        }
        EXPECT_EQ(thrownBy([&] {
                      session.call("plus", {a, Value("text")});
                  }).id,
                  "fixedpoint:fi:setBestPrecision:mustbenumeric");
        session.stop();
    }
    EXPECT_EQ(dlclose(library), 0);
    return shown;
}

#if defined(__SANITIZE_ADDRESS__)
#define TOLVANE_ADDRESS_CHECKED
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOLVANE_ADDRESS_CHECKED
#endif
#endif

TEST(Unloading, TakesTheModuleOutOfTheProcessAsOftenAsItWasLoaded) {
#ifdef TOLVANE_ADDRESS_CHECKED
    GTEST_SKIP() << "The leak check can't name what is in a library that has gone.";
#endif
    inOwnProcess([] {
        const std::string first = life();
        EXPECT_NE(first.find("002000"), std::string::npos) << first;
        EXPECT_NE(first.find("10000"), std::string::npos) << first;
        long before = 0;
        constexpr int kLives = 60;
        constexpr int kSettled = 20;
        for (int i = 0; i < kLives; ++i) {
            EXPECT_FALSE(isMapped("libtolvane.so") || isMapped("libtolvane_engine.so")) << i;
            EXPECT_EQ(dlopen(TOLVANE_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr) << i;
            EXPECT_EQ(life(), first) << i;
            if (testing::Test::HasFailure()) {
                return;
            }
            before = i == kSettled ? std::stol(fieldOfStatus("VmRSS:")) : before;
        }
        // A library that stayed, or classes left behind, would cost that in a few lives.
        constexpr long kMostKibibytes = 2000;
        EXPECT_LT(std::stol(fieldOfStatus("VmRSS:")) - before, kMostKibibytes);
    });
}

TEST(Unloading, LeavesAnEngineThatOthersUseWithTheHostsMemory) {
#ifdef TOLVANE_ADDRESS_CHECKED
    GTEST_SKIP() << "The leak check can't name what is in a library that has gone.";
#endif
    inOwnProcess([] {
        const std::string folder = std::string(TOLVANE_MODULE).substr(0, std::string(TOLVANE_MODULE).rfind('/'));
        void* const engine = dlopen((folder + "/libtolvane_engine.so.0").c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(engine, nullptr) << dlerror();
        const auto allocate =
            reinterpret_cast<void* (*)(std::size_t)>(dlsym(engine, "_ZN7tolvane6detail15allocateOrRaiseEm"));
        ASSERT_NE(allocate, nullptr);
        const std::string first = life();
        EXPECT_FALSE(isMapped("libtolvane.so"));
        void* const memory = allocate(100);
        EXPECT_NE(memory, nullptr);
        bsFree(memory);
        EXPECT_EQ(life(), first);
    });
}

}  // namespace
