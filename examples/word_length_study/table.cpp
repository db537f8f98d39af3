#include "examples/word_length_study/table.h"

#include <array>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <ostream>

#include "examples/studies/texts.h"

namespace study {
namespace {

std::string rowText(const Measurement& row, bool chosen) {
    const bool isFloat = row.format.kind == Kind::Float;
    return formatted("%s %-9s %-10s  %-9s %10" PRIu64 " %10" PRIu64 "  %12s %12s  %7s", chosen ? ">" : " ",
                     shortName(row.format).c_str(), std::string(nameOf(row.format.round)).c_str(),
                     isFloat ? "infinity" : std::string(nameOf(row.format.overflow)).c_str(), row.overflows,
                     row.underflows, valueText(row.smallest).c_str(), valueText(row.greatest).c_str(),
                     ratioText(row.snrDb).c_str());
}

std::string decibels(double value) {
    return value == 0.0 ? "0" : formatted("%+g", value);
}

}  // namespace

void printStudy(std::ostream& out, const Recording& recording, double peak, const Options& options,
                const Study& study) {
    const auto count = recording.samples.size();
    out << recording.path << "\n  " << recording.encoding << ", " << recording.sampleRate << " Hz, channel "
        << recording.channel << " of " << recording.channelCount << ", " << count
        << (count == 1 ? " sample" : " samples")
        << formatted(" (%.3f s)", static_cast<double>(count) / recording.sampleRate) << "\n  peak "
        << formatted("%.6g of full scale", peak);
    if (peak > 0.0) {
        out << formatted(" (%.1f dB)", 20.0 * std::log10(peak));
    }
    if (options.gainDb != 0.0) {
        out << ", after a gain of " << decibels(options.gainDb) << " dB";
    }
    out << "; target ratio " << ratioText(options.wantedDb) << " dB\n\n";

    out << "  format    rounding    overflow   overflows underflows      smallest     greatest      SNR\n"
           "                                  [samples]  [samples]  [full scale] [full scale]    [dB]\n";
    for (const Section& section : study.sections) {
        out << section.heading << '\n';
        for (const Measurement& row : section.rows) {
            out << rowText(row, study.chosen && study.chosen->format == row.format) << '\n';
        }
    }
    out << "\nsW,F and uW,F: signed and unsigned words of W bits, bit 0 weighs 2^-F; fW:E: E exponent bits.\n"
           "Underflow: a non-zero sample became zero. Exact: no sample changed."
        << (study.chosen ? " >: the chosen format.\n\n> " : "\n\n") << study.verdict << '\n';
}

std::string csvText(const Study& study) {
    std::string text =
        "section,format,kind,word_bits,fraction_bits,exponent_bits,round,overflow,overflows,underflows,smallest,"
        "greatest,snr_db,chosen\n";
    for (std::size_t i = 0; i < study.sections.size(); ++i) {
        for (const Measurement& row : study.sections[i].rows) {
            const Format& format = row.format;
            const bool isFloat = format.kind == Kind::Float;
            const char* kind = isFloat ? "float" : format.kind == Kind::Signed ? "signed" : "unsigned";
            // The format's name holds a comma, so it is quoted.
            text += formatted(
                "%zu,\"%s\",%s,%d,%d,%d,%s,%s,%" PRIu64 ",%" PRIu64 ",%.17g,%.17g,%.17g,%d\n", i + 1,
                shortName(format).c_str(), kind, format.wordBits, isFloat ? format.mantissaBits() : format.fractionBits,
                format.exponentBits, std::string(nameOf(format.round)).c_str(),
                isFloat ? "infinity" : std::string(nameOf(format.overflow)).c_str(), row.overflows, row.underflows,
                row.smallest, row.greatest, row.snrDb, study.chosen && study.chosen->format == format ? 1 : 0);
        }
    }
    return text;
}

}  // namespace study
