#include "program/fixed_log.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "program/kernels.h"
#include "program/log_access.h"

namespace tolvane {

constinit std::atomic<int> detail::currentLogLevel = static_cast<int>(LogLevel::none);
constinit std::atomic<std::uint64_t> detail::currentLogEpoch = 0;

namespace {

/// What a log says about formats on its thread. It outlives the log until the thread looks again.
struct Frame {
    explicit Frame(override says) : formats(says) {}
    const override formats;
    std::atomic<bool> isOver = false;
    /// What was specified where a type is in force instead; only of use to the thread.
    std::unordered_map<fixed_type, fixed_type> specifiedTypes;
};

/// The frames of this thread, the innermost last.
std::vector<std::shared_ptr<Frame>>& frames() {
    thread_local std::vector<std::shared_ptr<Frame>> sFrames;
    std::erase_if(sFrames, [](const auto& frame) { return frame->isOver.load(std::memory_order_relaxed); });
    return sFrames;
}

}  // namespace

struct fixed_log::State {
    log_options options;
    std::uint64_t began = 0;
    std::vector<place_record> records;
    std::map<std::string, detail::Samples> samples;
    std::uint64_t operations = 0;
    std::shared_ptr<const std::function<void(const overflow_event&)>> listener;
    std::shared_ptr<Frame> frame;
};

namespace {

std::mutex sLock;

std::vector<fixed_log*>& livingLogs() {
    static auto* const sLiving = new std::vector<fixed_log*>;  // logs may outlive this file's statics
    return *sLiving;
}

/// Call it with the lock, after a log began or ended.
void setLevel() {
    auto level = detail::LogLevel::none;
    for (const fixed_log* const log : livingLogs()) {
        const log_options& options = log->options();
        const bool wantsMore = options.histogram || options.errors || options.samples || options.on_overflow ||
                               options.formats == override::doubles;
        level = std::max(level, wantsMore ? detail::LogLevel::everything : detail::LogLevel::ranges);
    }
    detail::currentLogLevel.store(static_cast<int>(level), std::memory_order_relaxed);
    // Who sees this epoch sees the level, too.
    detail::currentLogEpoch.fetch_add(1, std::memory_order_release);
}

void merge(value_range& held, const value_range& added) {
    held.least = std::min(held.least, added.least);
    held.greatest = std::max(held.greatest, added.greatest);
}

void merge(magnitude_histogram& held, const magnitude_histogram& added) {
    held.zeros += added.zeros;
    for (const auto& [exponent, counts] : added.powers) {
        magnitude_histogram::counts& sum = held.powers[exponent];
        sum.positive += counts.positive;
        sum.negative += counts.negative;
    }
}

void merge(error_sums& held, const error_sums& added) {
    held.greatest = std::max(held.greatest, added.greatest);
    held.sum = held.sum + added.sum;
    held.squares = held.squares + added.squares;
    held.signal_squares = held.signal_squares + added.signal_squares;
}

template <class Part>
void merge(std::optional<Part>& held, const std::optional<Part>& added) {
    if (held && added) {
        merge(*held, *added);
    }
}

void merge(place_record& held, const place_record& added) {
    merge(held.before, added.before);
    merge(held.after, added.after);
    held.bits_needed = held.format == added.format ? std::max(held.bits_needed, added.bits_needed)
                                                   : detail::bitsNeeded(added.format, held.before);
    held.format = added.format;
    held.values += added.values;
    held.overflows += added.overflows;
    held.underflows += added.underflows;
    if (held.line == 0) {
        held.file = added.file;
        held.line = added.line;
    }
    if (held.overflow_line == 0) {
        held.overflow_file = added.overflow_file;
        held.overflow_line = added.overflow_line;
    }
    merge(held.histogram, added.histogram);
    merge(held.errors, added.errors);
}

/// The type that keeps what a double would keep of values of a type; it has a sign in any case.
fixed_type widened(const fixed_type& type) {
    constexpr int kMoreBits = 64;
    // So that types with and without sign don't share the types in force.
    constexpr int kMoreUnsignedBits = 96;
    constexpr int kLastPlace = 1074;
    constexpr int kFirstPlace = 1024;
    constexpr int kMostBits = 65535;
    const int whole = type.bits - type.fraction;
    const int moreWhole = type.is_signed ? kMoreBits : kMoreUnsignedBits;
    const int fraction = std::max(type.fraction, std::min(type.fraction + kMoreBits, kLastPlace));
    const int wider = std::max(whole + (type.is_signed ? 0 : 1), std::min(whole + moreWhole, kFirstPlace + 1));
    return {true, std::clamp(wider + fraction, type.bits, kMostBits), fraction};
}

}  // namespace

fixed_log::fixed_log() : fixed_log(log_options()) {}

fixed_log::fixed_log(override formats) : fixed_log(log_options{.formats = formats}) {}

fixed_log::fixed_log(log_options options) : mState(std::make_unique<State>()) {
    mState->options = std::move(options);
    if (mState->options.on_overflow) {
        mState->listener =
            std::make_shared<const std::function<void(const overflow_event&)>>(mState->options.on_overflow);
    }
    if (mState->options.formats != override::inherit) {
        mState->frame = std::make_shared<Frame>(mState->options.formats);
        frames().push_back(mState->frame);
    }
    const std::lock_guard lock(sLock);
    livingLogs().push_back(this);
    setLevel();
    mState->began = detail::currentLogEpoch.load(std::memory_order_relaxed);
}

fixed_log::~fixed_log() {
    stop();
}

void fixed_log::stop() {
    if (mState->frame) {
        mState->frame->isOver.store(true, std::memory_order_relaxed);
    }
    const std::lock_guard lock(sLock);
    std::erase(livingLogs(), this);
    setLevel();
}

const log_options& fixed_log::options() const {
    return mState->options;
}

std::vector<place_record> fixed_log::places() const {
    detail::handOverVariables();
    const std::lock_guard lock(sLock);
    return mState->records;
}

place_record fixed_log::place(const std::string& name) const {
    const std::vector<place_record> all = places();
    const auto found = std::ranges::find(all, name, &place_record::name);
    if (found == all.end()) {
        std::string known;
        for (const place_record& record : all) {
            known.append(known.empty() ? "" : ", ").append(record.name);
        }
        throw error("tolvane:log:name", "The log has no place \"" + name + "\"" +
                                            (known.empty() ? "; nothing was quantized." : "; it has " + known + "."));
    }
    return *found;
}

void fixed_log::clear() {
    detail::handOverVariables();
    const std::lock_guard lock(sLock);
    mState->records.clear();
    mState->samples.clear();
}

LogAccess::Wishes LogAccess::wishes() {
    const std::lock_guard lock(sLock);
    Wishes all;
    for (const fixed_log* const log : livingLogs()) {
        all.histogram = all.histogram || log->options().histogram;
        all.errors = all.errors || log->options().errors;
        all.samples = all.samples || log->options().samples;
    }
    return all;
}

std::uint64_t LogAccess::moment() {
    return detail::currentLogEpoch.load(std::memory_order_acquire);
}

void LogAccess::add(const place_record& record, std::uint64_t moment, const detail::SampleChunk* samples) {
    if (record.values == 0) {
        return;
    }
    const std::lock_guard lock(sLock);
    for (fixed_log* const log : livingLogs()) {
        if (log->mState->began > moment) {
            continue;
        }
        if (samples != nullptr && log->options().samples) {
            log->mState->samples[record.name].add(*samples, log->mState->operations);
        }
        std::vector<place_record>& records = log->mState->records;
        const auto found = std::ranges::find(records, record.name, &place_record::name);
        if (found != records.end()) {
            merge(*found, record);
            continue;
        }
        // No more than the log asked for.
        place_record& made = records.emplace_back(record);
        const log_options& options = log->options();
        made.histogram =
            options.histogram ? std::optional(record.histogram.value_or(magnitude_histogram())) : std::nullopt;
        made.errors = options.errors ? std::optional(record.errors.value_or(error_sums())) : std::nullopt;
    }
}

void detail::Samples::add(const SampleChunk& chunk, std::uint64_t operation) {
    runs.push_back({count, operation});
    count += chunk.count();
    SampleChunk* const last = chunks.empty() ? nullptr : &chunks.back();
    if (last == nullptr || last->exponentBefore != chunk.exponentBefore || last->exponentAfter != chunk.exponentAfter ||
        last->width != chunk.width) {
        chunks.push_back(chunk);
        return;
    }
    last->before.insert(last->before.end(), chunk.before.begin(), chunk.before.end());
    last->after.insert(last->after.end(), chunk.after.begin(), chunk.after.end());
}

void LogAccess::endOperation() {
    const std::lock_guard lock(sLock);
    for (fixed_log* const log : livingLogs()) {
        ++log->mState->operations;
    }
}

std::map<std::string, detail::Samples> LogAccess::samplesOf(const fixed_log& log) {
    detail::handOverVariables();
    const std::lock_guard lock(sLock);
    return log.mState->samples;
}

void LogAccess::announce(std::span<const overflow_event> events, std::uint64_t moment) {
    thread_local bool sIsAnnouncing = false;
    if (sIsAnnouncing || !wantsMore()) {
        return;
    }
    // They may use logs, and end some.
    std::vector<decltype(fixed_log::State::listener)> listeners;
    {
        const std::lock_guard lock(sLock);
        for (const fixed_log* const log : livingLogs()) {
            if (log->mState->listener && log->mState->began <= moment) {
                listeners.push_back(log->mState->listener);
            }
        }
    }
    std::exception_ptr first;
    sIsAnnouncing = true;
    for (const auto& listener : listeners) {
        for (const overflow_event& event : events) {
            try {
                (*listener)(event);
            } catch (...) {
                first = first ? first : std::current_exception();
            }
        }
    }
    sIsAnnouncing = false;
    if (first) {
        std::rethrow_exception(first);
    }
}

bool LogAccess::isOverriding() {
    if (!wantsMore()) {
        return false;
    }
    const auto& all = frames();
    return !all.empty() && all.back()->formats == override::doubles;
}

std::optional<LogAccess::Override> LogAccess::overrideOf(const fixed_type& type) {
    if (!isOverriding()) {
        return std::nullopt;
    }
    fixed_type specified = type;
    for (const auto& frame : frames()) {
        const auto found = frame->specifiedTypes.find(type);
        specified = found == frame->specifiedTypes.end() ? specified : found->second;
    }
    const fixed_type inForce = widened(specified);
    if (inForce != specified) {
        frames().back()->specifiedTypes[inForce] = specified;
    }
    return Override{specified, inForce};
}

}  // namespace tolvane
