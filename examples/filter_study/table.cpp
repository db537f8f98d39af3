#include "examples/filter_study/table.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <ostream>

#include "examples/filter_study/integer_model.h"
#include "examples/studies/texts.h"

namespace filterstudy {
namespace {

using study::formatted;
using study::ratioText;
using study::ratioWithUnit;
using study::valueText;

void printFilter(std::ostream& out, const study::Recording& recording, const FilterStudy& study) {
    const double rate = recording.sampleRate;
    const double half = transitionWidth(study.filter) / 2.0;
    const double pass = study.filter.cutoff - half;
    const double stop = study.filter.cutoff + half;
    out << titleOf(study, recording.sampleRate) << '\n';
    if (pass > 0.0) {
        out << formatted("  gain at %.0f Hz %.2f dB", pass * rate, gainDb(study.coefficients, pass));
        if (stop < 0.5) {
            out << formatted(", from %.0f Hz on at most %.1f dB", stop * rate,
                             greatestGainDb(study.coefficients, stop));
        }
        out << '\n';
    }
}

void printPairs(std::ostream& out, const FilterStudy& study, const Options& options) {
    out << "\nSNR [dB] with products and sums in full: coefficient bits down, data bits across\n\n     ";
    for (const int bits : options.grid.data) {
        out << formatted(" %8d", bits);
    }
    std::size_t i = 0;
    for (const int coefficientBits : options.grid.coefficients) {
        out << formatted("\n  %3d", coefficientBits);
        for (const int dataBits : options.grid.data) {
            const Pair& pair = study.pairs[i++];
            const bool isChosen =
                study.chosen && study.centre.coefficient.bits == coefficientBits && study.centre.data.bits == dataBits;
            std::string ratio = isChosen ? ">" : "";
            ratio += ratioText(pair.snrDb);
            out << formatted(" %7s%c", ratio.c_str(), pair.snrDb >= options.wantedDb ? '*' : ' ');
        }
    }
    out << "\n\n*: meets the target ratio; here the products and sums can be shortened.\n";
}

std::string rowText(const Row& row, bool isChosen) {
    const Outcome& outcome = row.outcome;
    return formatted(
        "%s %-21s %-7s %-7s %8" PRIu64 " %8" PRIu64 " %9" PRIu64 " %9s %9s %6s %6.1f %5d\n", isChosen ? ">" : " ",
        row.name.c_str(), nameOf(productWord(outcome.arithmetic)).c_str(), nameOf(outcome.output).c_str(),
        outcome.productOverflows, outcome.sumOverflows, outcome.warnedSumOverflows, valueText(outcome.smallest).c_str(),
        valueText(outcome.greatest).c_str(), ratioText(outcome.snrDb).c_str(), outcome.nanosecondsPerTap, row.cost);
}

void printSections(std::ostream& out, const FilterStudy& study) {
    const Arithmetic& centre = study.centre;
    out << "\nAt coefficients " << nameOf(centre.coefficient) << " and data " << nameOf(centre.data) << ", "
        << study::nameOf(centre.round) << '/' << study::nameOf(centre.overflow) << " by default, over samples "
        << study.stretchBegin << " to " << study.stretchBegin + study.stretchLength - 1
        << "\n\n"
           "                        product output  overflow overflow  overflow  smallest  greatest    SNR   time  "
           "cost\n"
           "                                        products     sums    in log   [full scale]         [dB] [ns/tap]\n";
    for (const Section& section : study.sections) {
        out << section.heading << '\n';
        for (const Row& row : section.rows) {
            out << rowText(row, study.chosen && row.outcome.arithmetic == centre);
        }
    }
    out << formatted(
               "\nTime of one tap in doubles: %.2f ns; tap by tap with \"times\" and \"plus\" instead of \"convS\": "
               "%.1f ns.",
               study.referenceNanosecondsPerTap, study.tapByTap.nanosecondsPerTap)
        << "\nOverflow in log: overflows of sums in the host's warnings; the log of a convolution adds the running\n"
           "count after every output. Cost: coefficient bits x data bits + product bits + sum bits.\n";
}

}  // namespace

std::string titleOf(const FilterStudy& study, int sampleRate) {
    return formatted("%d-tap low-pass, Kaiser window for %g dB, cutoff %g Hz at %d Hz", study.filter.taps,
                     study.filter.attenuationDb, study.cutoffHz, sampleRate);
}

void printStudy(std::ostream& out, const study::Recording& recording, const Options& options,
                const FilterStudy& study) {
    const auto count = recording.samples.size();
    out << recording.path << "\n  " << recording.encoding << ", " << recording.sampleRate << " Hz, channel "
        << recording.channel << " of " << recording.channelCount << ", " << count
        << (count == 1 ? " sample" : " samples")
        << formatted(" (%.3f s)", static_cast<double>(count) / recording.sampleRate) << '\n';
    printFilter(out, recording, study);
    printPairs(out, study, options);
    printSections(out, study);

    const std::string wanted = ratioText(options.wantedDb) + " dB";
    if (!study.chosen) {
        const auto best = std::max_element(study.pairs.begin(), study.pairs.end(),
                                           [](const Pair& a, const Pair& b) { return a.snrDb < b.snrDb; });
        out << "\nNo words of the grid meet " << wanted << "; the best are " << best->coefficientBits
            << "-bit coefficients and " << best->dataBits << "-bit data with " << ratioWithUnit(best->snrDb) << ".\n";
        return;
    }
    const Outcome& outcome = study.chosen->outcome;
    const Arithmetic& arithmetic = outcome.arithmetic;
    out << "\n> The cheapest words that meet " << wanted << ": coefficients " << nameOf(arithmetic.coefficient)
        << ", data " << nameOf(arithmetic.data) << ", products " << nameOf(productWord(arithmetic)) << ", sums "
        << nameOf(outcome.output) << ",\n  " << study.chosen->cost
        << " cells. Over the whole recording: " << ratioWithUnit(outcome.snrDb) << ", " << outcome.productOverflows
        << " product and " << outcome.sumOverflows
        << formatted(" sum overflows, %.1f ns a tap.\n", outcome.nanosecondsPerTap);
    const double stop = study.filter.cutoff + transitionWidth(study.filter) / 2.0;
    if (stop < 0.5) {
        std::vector<double> rounded;
        for (const std::int64_t integer : storedIntegers(study.coefficients, arithmetic.coefficient)) {
            rounded.push_back(std::ldexp(static_cast<double>(integer), -arithmetic.coefficient.fraction));
        }
        out << formatted("  In words the coefficients let at most %.1f dB through from %.0f Hz on.\n",
                         greatestGainDb(rounded, stop), stop * recording.sampleRate);
    }
}

std::string csvText(const FilterStudy& study) {
    std::string text =
        "coefficient_bits,coefficient_fraction,data_bits,data_fraction,product_mode,product_bits,product_fraction,"
        "sum_mode,output_bits,output_fraction,round,overflow,product_overflows,sum_overflows,logged_sum_overflows,"
        "smallest,greatest,snr_db,ns_per_tap,cost,chosen\n";
    for (const Row& row : study.measured) {
        const Outcome& outcome = row.outcome;
        const Arithmetic& arithmetic = outcome.arithmetic;
        const Word product = productWord(arithmetic);
        text += formatted(
            "%d,%d,%d,%d,%s,%d,%d,%s,%d,%d,%s,%s,%" PRIu64 ",%" PRIu64 ",%" PRIu64 ",%.17g,%.17g,%.17g,%.1f,%d,%d\n",
            arithmetic.coefficient.bits, arithmetic.coefficient.fraction, arithmetic.data.bits,
            arithmetic.data.fraction, nameOf(arithmetic.product.keep), product.bits, product.fraction,
            nameOf(arithmetic.sum.keep), outcome.output.bits, outcome.output.fraction,
            std::string(study::nameOf(arithmetic.round)).c_str(),
            std::string(study::nameOf(arithmetic.overflow)).c_str(), outcome.productOverflows, outcome.sumOverflows,
            outcome.warnedSumOverflows, outcome.smallest, outcome.greatest, outcome.snrDb, outcome.nanosecondsPerTap,
            row.cost, study.chosen && study.chosen->outcome.arithmetic == arithmetic ? 1 : 0);
    }
    return text;
}

}  // namespace filterstudy
