#include "examples/word_length_study/mix_table.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <ostream>
#include <string>

#include "examples/studies/texts.h"

namespace study {
namespace {

std::string rowText(const MixRow& row, bool isSum) {
    return formatted("  %-16s  %-9s %-4s  %-9s %10" PRIu64 " %10" PRIu64 "  %12s %12s  %7s\n", row.name.c_str(),
                     row.type.c_str(), isSum ? row.castsOperands ? "yes" : "no" : "",
                     std::string(nameOf(row.overflow)).c_str(), row.overflows, row.underflows,
                     valueText(row.smallest).c_str(), valueText(row.greatest).c_str(), ratioText(row.snrDb).c_str());
}

/// The lesson from "plus" for a designer: the best and the worst way to stay in the operands' word length.
std::string lesson(const Mix& mix) {
    const MixRow& full = mix.sums.front();
    const auto best = std::max_element(mix.sums.begin() + 1, mix.sums.end(),
                                       [](const MixRow& a, const MixRow& b) { return a.snrDb < b.snrDb; });
    const auto worst = std::min_element(mix.sums.begin() + 1, mix.sums.end(),
                                        [](const MixRow& a, const MixRow& b) { return a.snrDb < b.snrDb; });
    std::string text = "The exact sum of two " + std::to_string(mix.format.wordBits) + "-bit words is " + full.type +
                       " and has " + ratioWithUnit(full.snrDb) + ".\nIn " + std::to_string(mix.format.wordBits) +
                       " bits " + best->name + (best->castsOperands ? "" : " without casts") + " does best (" +
                       best->type + ", " + ratioWithUnit(best->snrDb) + ")";
    if (worst->overflows > 0 && worst->snrDb < best->snrDb) {
        text += ",\nand " + worst->name + " worst (" + worst->type + ", " + std::string(nameOf(worst->overflow)) +
                ", " + ratioWithUnit(worst->snrDb) + "): missing range costs more than missing resolution";
    }
    return text + ".\n";
}

}  // namespace

void printMix(std::ostream& out, const Mix& mix) {
    out << "\nMixed through the host: the recording plus and minus a copy "
        << formatted("%g ms later (%zu samples) at %+g dB", mix.setting.delayMs, mix.setting.delay, mix.setting.gainDb)
        << "\n\n"
           "  sum mode          type      cast  overflow   overflows underflows      smallest     greatest      SNR\n"
           "                                                [warned]   [warned]  [full scale] [full scale]     [dB]\n";
    const auto print = [&out](const std::string& heading, const std::vector<MixRow>& rows, bool areSums) {
        out << heading << '\n';
        for (const MixRow& row : rows) {
            out << rowText(row, areSums);
        }
    };
    const std::string modes = std::string(nameOf(mix.format.round)) + "/" + std::string(nameOf(mix.format.overflow));
    print("Operands, " + modes, mix.operands, false);
    print("plus", mix.sums, true);
    print("minus", mix.differences, true);
    out << "\nWarned: counts in the host's warnings";
    const auto last = std::find_if(mix.warnings.rbegin(), mix.warnings.rend(),
                                   [](const std::string& text) { return text.starts_with("fi:overflow"); });
    if (last != mix.warnings.rend()) {
        out << ", such as \"" << *last << "\"";
    }
    out << ".\nSmallest, greatest: from the log of the result. Cast: operands are converted to the result's "
           "type first.\nSNR: against the same in doubles.\n\n"
        << lesson(mix);
}

}  // namespace study
