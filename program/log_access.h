// How the arithmetic reaches the logs that live.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "program/fixed_log.h"
#include "program/log_level.h"

namespace tolvane {

namespace detail {

/// Integers of some limbs each, times 2^exponent, as they came to a place and as it left them.
struct SampleChunk {
    int exponentBefore = 0;
    int exponentAfter = 0;
    std::size_t width = 0;
    std::vector<std::uint64_t> before;
    std::vector<std::uint64_t> after;
    std::size_t count() const { return width == 0 ? 0 : before.size() / width; }
};

/// The values of a place, one operation after the other.
struct Samples {
    struct Run {
        std::size_t begin;
        std::uint64_t operation;  // in the order of the log
    };
    std::vector<SampleChunk> chunks;
    std::vector<Run> runs;
    std::size_t count = 0;

    void add(const SampleChunk& chunk, std::uint64_t operation);
};

}  // namespace detail

class LogAccess {
 public:
    /// Whether any log lives.
    static bool isLogging() { return detail::logLevel() != detail::LogLevel::none; }
    /// Whether one wants more than ranges and counts, so that all values have to go through a `Place`.
    static bool wantsMore() { return detail::logLevel() == detail::LogLevel::everything; }

    /// What the living logs want to know of each value.
    struct Wishes {
        bool histogram = false;
        bool errors = false;
        bool samples = false;
    };
    static Wishes wishes();

    /// Changes when a log begins or ends. Ask for it before anything else, and a record goes to the logs that lived
    /// then, for the others may want what nobody counted.
    static std::uint64_t moment();
    static constexpr std::uint64_t kAnyMoment = std::numeric_limits<std::uint64_t>::max();
    /// Adds a record of values to the logs. Records of one name are merged; the format is that of the last one.
    static void add(const place_record& record, std::uint64_t moment = kAnyMoment,
                    const detail::SampleChunk* samples = nullptr);
    /// What follows belongs to another operation.
    static void endOperation();
    /// By the names of places.
    static std::map<std::string, detail::Samples> samplesOf(const fixed_log& log);
    /// Calls those who want to hear of it. Raises what the first of them raised that did, when all were called.
    static void announce(std::span<const overflow_event> events, std::uint64_t moment = kAnyMoment);

    /// Whether formats don't act on this thread.
    static bool isOverriding();
    struct Override {
        fixed_type specified;
        fixed_type inForce;
    };
    /// The types of a place if formats don't act on this thread: the specified one is the given one, or if that came
    /// from such a place since the log began that says so, what was specified there.
    static std::optional<Override> overrideOf(const fixed_type& type);
};

namespace detail {
/// Hands over what the variables of this thread have noted.
void handOverVariables();
}  // namespace detail

}  // namespace tolvane
