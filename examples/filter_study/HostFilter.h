// The filter by the library, run through the host: arrays of class "embedded.fi", rules, and the method "convS".
//
// Every output is compared, bit for bit, with that of `integerFilter`, and so are the counts in the host's warnings.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "examples/LoggingSwitch.h"
#include "examples/filter_study/Arithmetic.h"
#include "examples/filter_study/integer_model.h"
#include "host/reference/Session.h"

namespace filterstudy {

enum class Way { Convolution, TapByTap };

/// The effect of an arithmetic on a signal.
struct Outcome {
    Arithmetic arithmetic;
    Word output;                           // as the array reports it
    std::uint64_t productOverflows = 0;    // as the host warned
    std::uint64_t sumOverflows = 0;        // partial sums that overflowed
    std::uint64_t warnedSumOverflows = 0;  // as the host warned: for a convolution see `ModelOutput`
    double smallest = 0.0;                 // from the log of the output
    double greatest = 0.0;
    double snrDb = 0.0;              // against doubles; plus infinity if equal
    double nanosecondsPerTap = 0.0;  // of the method calls
    std::vector<double> values;      // the output
};

class HostFilter {
 public:
    /// Takes a signal and coefficients as doubles, all finite. The spans must outlive the filter. The destructor
    /// restores the default global rules.
    HostFilter(std::span<const double> samples, std::span<const double> coefficients);

    ~HostFilter();
    HostFilter(const HostFilter&) = delete;
    HostFilter& operator=(const HostFilter&) = delete;

    /// Filters the signal. Throws hostref::HostError, and a StudyError (WordsDiffer) if the output or the counts differ
    /// from the integer model's.
    Outcome run(const Arithmetic& arithmetic, Way way);

    /// The signal filtered in doubles.
    const std::vector<double>& reference() const { return mReference; }
    double referenceNanosecondsPerTap() const { return mReferenceNanoseconds; }

 private:
    struct Operand {
        std::vector<hostref::Value> arrays;  // one, or one per tap
        std::vector<std::int64_t> integers;
    };
    std::size_t terms() const { return std::min(mSamples.size(), mCoefficients.size()); }
    hostref::Value arrayOf(const std::vector<double>& row, Word word);
    const Operand& data(Word word, Way way);
    const Operand& taps(Word word, Way way);
    hostref::Value tapByTap(const Operand& data, const Operand& taps, hostref::Value sum);

    std::span<const double> mSamples;
    std::span<const double> mCoefficients;
    std::vector<double> mReference;
    double mReferenceNanoseconds = 0.0;
    double mProducts = 0.0;
    hostref::Session mSession;
    LoggingSwitch mLogging;
    hostref::Value mGlobalRules;
    hostref::Value mQuantizing;  // rules by which operands are made
    std::map<std::pair<Word, Way>, Operand> mData;
    std::map<std::pair<Word, Way>, Operand> mTaps;
};

/// Throws a StudyError (WordsDiffer) with the first difference between an outcome and the model's: the type of the
/// output, its words, or the counts in the host's warnings.
void requireEqual(const Outcome& outcome, const ModelOutput& model, Way way, std::size_t terms);

/// Returns 10 log10( sum wanted^2 / sum (wanted - got)^2 ).
double ratioDb(std::span<const double> wanted, std::span<const double> got);

}  // namespace filterstudy
