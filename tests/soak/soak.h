// A soak: cases drawn from seeds, each compared with an exact model that shares no code with the library.
//
// A case is a unit and a seed; its elements depend on the seed and their places alone, so a window of them can be tried
// by itself. That is how a failure becomes small.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <sstream>
#include <string>

namespace soak {

/// Scrambles all bits.
inline std::uint64_t mixed(std::uint64_t x) {
    x += 0x9E3779B97F4A7C15U;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9U;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBU;
    return x ^ (x >> 31);
}

class Draw {
 public:
    explicit Draw(std::uint64_t seed) : mState(seed) {}

    std::uint64_t bits() { return mixed(mState += 0xD1342543DE82EF95U); }
    /// From `least` to `most`, both included.
    int between(int least, int most) {
        return least + static_cast<int>(bits() % (static_cast<std::uint64_t>(most - least) + 1));
    }
    bool oneIn(int n) { return bits() % static_cast<std::uint64_t>(n) == 0; }
    template <class Values>
    const auto& of(const Values& values) {
        return std::data(values)[bits() % std::size(values)];
    }

 private:
    std::uint64_t mState;
};

/// The elements of a case that are tried: `count` of them from `first` on.
struct Window {
    std::size_t first = 0;
    std::size_t count = SIZE_MAX;

    std::size_t begin(std::size_t size) const { return first < size ? first : size; }
    std::size_t end(std::size_t size) const { return count < size - begin(size) ? begin(size) + count : size; }
};

struct Case {
    std::uint64_t seed = 0;
    Window window;
};

struct Outcome {
    std::uint64_t checked = 0;  // what the unit counts
    std::string mismatch;       // what was computed and what was expected; empty if they are equal
    std::size_t element = 0;    // the place of the first mismatch
};

template <class... Parts>
Outcome mismatch(std::size_t element, const Parts&... parts) {
    std::ostringstream out;
    (out << ... << parts);
    return {1, out.str(), element};
}

struct Unit {
    const char* name;
    const char* counts;  // what is counted
    double share;        // of the time
    Outcome (*run)(const Case& oneCase);
};

std::span<const Unit> quantizationUnits();
std::span<const Unit> arrayUnits();
std::span<const Unit> hostUnits();
std::span<const Unit> textUnits();
std::span<const Unit> fileUnits();
std::span<const Unit> specialUnits();

}  // namespace soak
