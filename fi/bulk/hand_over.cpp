#include "fi/bulk/hand_over.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>
#include <vector>

namespace tolvane::detail::arraymatrix {

namespace {

using laneloops::RunNotes;
using laneloops::Tallies;

/// Adds what silent casts would have noted.
void addSilentCasts(const Plan& plan, Tallies& tallies) {
    const Quantizers& q = plan.quantizers;
    if (q.castsSum && !plan.places.castsSum) {
        tallies.sum.joinExtremes(plan.isPair ? tallies.pair : tallies.product);
    }
    if (plan.isPair && q.castsPair && !plan.places.castsPair) {
        tallies.pair.joinExtremes(tallies.product);
    }
}

/// Empties logs for as long as it lives.
class EmptiedLogs {
 public:
    explicit EmptiedLogs(std::span<const qlogger* const> logs) : mLogs(logs) {
        mSaved.reserve(logs.size());
        for (const qlogger* log : logs) {
            mSaved.emplace_back(*log, false);
        }
        for (const qlogger* log : logs) {
            log->reset();
        }
    }
    EmptiedLogs(const EmptiedLogs&) = delete;
    EmptiedLogs& operator=(const EmptiedLogs&) = delete;
    ~EmptiedLogs() {
        for (std::size_t i = 0; i < mLogs.size(); ++i) {
            mLogs[i]->set(mSaved[i]);
        }
    }

 private:
    std::span<const qlogger* const> mLogs;
    std::vector<qlogger> mSaved;
};

struct NotedPlace {
    bool isOpen() const { return tally.isOpenFor(log); }
    /// Whether a tally holds a zero whose sign is open here.
    bool needs(const Tally& noted) const {
        return (tally.isGreatestOpenFor(log) && noted.greatest == 0.0) ||
               (tally.isLeastOpenFor(log) && noted.least == 0.0);
    }

    Tally& tally;
    const qlogger& log;
};

unsigned zerosOf(double extreme) {
    return extreme != 0.0 ? Tally::both : std::signbit(extreme) ? Tally::minus : Tally::plus;
}

/// Gives zero extremes whose sign is open that of the first zero in the order of the element steps: in the first
/// stretch that holds such a zero, the steps are taken.
void settleSigns(const Plan& plan, std::span<const NotedPlace> places, std::span<const qlogger* const> logs,
                 const Stretches& stretches) {
    for (std::uint64_t begin = 0; begin < stretches.count && std::ranges::any_of(places, &NotedPlace::isOpen);
         begin += stretches.length) {
        const std::uint64_t end = std::min(stretches.count, begin + stretches.length);
        RunNotes notes;
        stretches.run(begin, end, notes);
        addSilentCasts(plan, notes.tallies);
        const auto& [product, pair, sum] = notes.tallies;
        if (!places[0].needs(product) && !places[1].needs(pair) && !places[2].needs(sum)) {
            continue;
        }
        for (double* const part : {stretches.results.real, stretches.results.imag}) {
            if (part) {
                std::fill(part + begin * stretches.entries, part + end * stretches.entries, 0.0);
            }
        }
        std::vector<std::pair<unsigned, unsigned>> seen;
        {
            const EmptiedLogs emptied(logs);
            stretches.byElements(begin, end);
            for (const NotedPlace& place : places) {
                seen.emplace_back(zerosOf(place.log.getMaxAsDouble()), zerosOf(place.log.getMinAsDouble()));
            }
        }
        for (std::size_t i = 0; i < places.size(); ++i) {
            const auto& [tally, log] = places[i];
            tally.greatestZeros = tally.isGreatestOpenFor(log) ? seen[i].first : tally.greatestZeros;
            tally.leastZeros = tally.isLeastOpenFor(log) ? seen[i].second : tally.leastZeros;
        }
    }
}

}  // namespace

Record::Record(const Plan& plan, std::uint64_t terms, std::uint64_t parts) {
    if (!plan.counts) {
        return;
    }
    const Quantizers& q = plan.quantizers;
    const std::uint64_t sums = terms * parts;
    products = plan.isPair ? 2 * sums : sums;
    pairs = plan.isPair ? sums * (q.castsPair ? 3 : 1) : 0;
    totals = sums * (q.castsSum ? (q.castsTotal ? 3 : 2) : 1);
    mathOperations = terms;
}

void handOver(Record& record, const Plan& plan, const Stretches& stretches) {
    const Quantizers& q = plan.quantizers;
    addSilentCasts(plan, record.notes.tallies);
    auto& [product, pair, sum] = record.notes.tallies;
    product.values = record.products;
    pair.values = record.pairs;
    sum.values = record.totals;
    const bool startsWithZero = q.castsSum && q.castsTotal;
    if (startsWithZero && sum.values > 0) {
        // The first value of all is the zero that the sums start with.
        sum.join({.greatest = 0.0, .least = 0.0});
    }
    for (Tally* tally : {&product, &pair, &sum}) {
        if (plan.hasOneZero || (tally == &sum && startsWithZero)) {
            tally->greatestZeros = tally->greatest == 0.0 ? Tally::plus : Tally::none;
            tally->leastZeros = tally->least == 0.0 ? Tally::plus : Tally::none;
        }
    }
    const NotedPlace places[] = {
        {product, q.product.getQlogger()}, {pair, q.pair.getQlogger()}, {sum, q.sum.getQlogger()}};
    std::vector<const qlogger*> logs = {&places[0].log, &places[1].log, &places[2].log};
    if (q.result) {
        logs.push_back(q.result);
    }
    settleSigns(plan, places, logs, stretches);
    for (const auto& [tally, log] : places) {
        if (tally.values > 0) {
            tally.handTo(log);
        }
    }
    addMathOperations(places[2].log, record.mathOperations);
    if (!plan.isPair && record.products > 0) {
        addMathOperations(places[0].log, record.mathOperations);
    }
}

}  // namespace tolvane::detail::arraymatrix
