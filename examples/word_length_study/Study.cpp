#include "examples/word_length_study/Study.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "examples/studies/stored_word.h"
#include "examples/studies/texts.h"

namespace study {
namespace {

/// The ratio as shown in the table, so that an invisible difference decides nothing.
double shownRatio(const Measurement& row) {
    return std::isfinite(row.snrDb) ? std::round(row.snrDb * 10.0) : row.snrDb;
}

bool isBetter(const Measurement& a, const Measurement& b) {
    if (a.format.wordBits != b.format.wordBits) {
        return a.format.wordBits < b.format.wordBits;
    }
    if ((a.overflows == 0) != (b.overflows == 0)) {
        return a.overflows == 0;
    }
    return shownRatio(a) > shownRatio(b);
}

class Conductor {
 public:
    Conductor(const Options& options, std::span<const double> samples, const Progress& progress)
        : mOptions(options), mSamples(samples), mProgress(progress) {
        const auto [low, high] = std::minmax_element(samples.begin(), samples.end());
        mSmallest = *low;
        mGreatest = *high;
        if (options.signedness != Signedness::Unsigned) {
            mKinds.push_back(Kind::Signed);
        }
        if (options.signedness != Signedness::Signed) {
            mKinds.push_back(Kind::Unsigned);
        }
    }

    Study conduct() {
        if (mOptions.full) {
            addFullGrid();
        } else {
            addWords();
            const Format centre = centreOfModes();
            addRounds(centre);
            addBinaryPoints(centre);
            addFloats({mOptions.rounds.front()});
        }
        choose();
        return std::move(mStudy);
    }

 private:
    Section& addSection(std::string heading) {
        mStudy.sections.push_back({std::move(heading), {}});
        return mStudy.sections.back();
    }

    /// Measures a format once; it may be in several sections, where it is compared with others.
    const Measurement& measured(const Format& format) {
        auto known = mMeasured.find(format);
        if (known == mMeasured.end()) {
            known = mMeasured.emplace(format, measure(mSamples, format)).first;
            if (mProgress) {
                mProgress(mMeasured.size(), mPlanned);
            }
        }
        return known->second;
    }

    const Measurement& addRow(Section& section, const Format& format) {
        section.rows.push_back(measured(format));
        return section.rows.back();
    }

    Format fixedFormat(Kind kind, int wordBits, int fractionBits) const {
        return {kind, wordBits, fractionBits, 0, mOptions.rounds.front(), mOptions.overflows.front()};
    }

    int bestFraction(Kind kind, int wordBits, Round round) const {
        if (mOptions.fractionsAreFullScale) {
            return kind == Kind::Signed ? wordBits - 1 : wordBits;
        }
        return coveringFraction(mSmallest, mGreatest, kind, wordBits, round);
    }

    std::string usualModes() const {
        return std::string(nameOf(mOptions.rounds.front())) + "/" + std::string(nameOf(mOptions.overflows.front()));
    }

    void addWords() {
        for (const Kind kind : mKinds) {
            Section& section = addSection("");
            section.heading = std::string(kind == Kind::Signed ? "Signed" : "Unsigned") + " words, " + usualModes() +
                              (mOptions.fractions               ? ""
                               : mOptions.fractionsAreFullScale ? ", full scale 1"
                                                                : ", finest fraction that holds the peak");
            for (const int wordBits : mOptions.words) {
                bool exact = false;
                for (const int fractionBits :
                     mOptions.fractions.value_or(std::vector{bestFraction(kind, wordBits, mOptions.rounds.front())})) {
                    exact |= std::isinf(addRow(section, fixedFormat(kind, wordBits, fractionBits)).snrDb);
                }
                if (exact && !mOptions.wordsAreGiven) {
                    section.heading += "; wider ones are also exact";
                    break;
                }
            }
        }
    }

    /// The fixed format whose modes and binary point are varied: the user's, the chosen one, or the widest.
    Format centreOfModes() const {
        if (mOptions.format && mOptions.format->kind != Kind::Float) {
            return *mOptions.format;
        }
        const Measurement* centre = bestKeeping();
        if (centre == nullptr) {
            centre = &mStudy.sections.front().rows.back();
        }
        return centre->format;
    }

    void addRounds(Format centre) {
        if (mOptions.rounds.size() < 2) {
            return;
        }
        Section& section = addSection("Rounding modes at " + shortName(centre));
        for (const Round round : mOptions.rounds) {
            centre.round = round;
            addRow(section, centre);
        }
    }

    void addBinaryPoints(Format centre) {
        std::vector<int> fractions;
        for (int finer = -1; finer <= 2; ++finer) {
            const int fraction = centre.fractionBits + finer;
            if (std::abs(fraction) <= kFractionBitsLimit) {
                fractions.push_back(fraction);
            }
        }
        if (mOptions.fractions) {
            fractions = *mOptions.fractions;
        }

        Section section{"Binary point and overflow at " + std::to_string(centre.wordBits) + " bits", {}};
        for (const int fraction : fractions) {
            centre.fractionBits = fraction;
            centre.overflow = mOptions.overflows.front();
            const bool overflows = measured(centre).overflows > 0;
            // The user's fractions are already in the first section, and without an overflow all modes agree.
            if (!overflows && mOptions.fractions) {
                continue;
            }
            for (const Overflow overflow : mOptions.overflows) {
                centre.overflow = overflow;
                addRow(section, centre);
                if (!overflows) {
                    break;
                }
            }
        }
        if (section.rows.size() > 1) {
            mStudy.sections.push_back(std::move(section));
        }
    }

    void addFloats(const std::vector<Round>& rounds) {
        if (mOptions.floats.empty()) {
            return;
        }
        Section& section = addSection("Floats (word:exponent bits)");
        for (Format format : mOptions.floats) {
            for (const Round round : rounds) {
                format.round = round;
                addRow(section, format);
            }
        }
    }

    void addFullGrid() {
        mPlanned = mKinds.size() * mOptions.words.size() * (mOptions.fractions ? mOptions.fractions->size() : 2) *
                       mOptions.rounds.size() * mOptions.overflows.size() +
                   mOptions.floats.size() * mOptions.rounds.size();
        for (const Kind kind : mKinds) {
            Section& section = addSection(std::string(kind == Kind::Signed ? "Signed" : "Unsigned") + " words");
            for (const int wordBits : mOptions.words) {
                const int best = bestFraction(kind, wordBits, mOptions.rounds.front());
                for (const int fraction :
                     mOptions.fractions.value_or(std::vector{best, std::min(best + 1, kFractionBitsLimit)})) {
                    for (const Round round : mOptions.rounds) {
                        for (const Overflow overflow : mOptions.overflows) {
                            addRow(section, {kind, wordBits, fraction, 0, round, overflow});
                        }
                    }
                }
            }
        }
        addFloats(mOptions.rounds);
    }

    const Measurement* bestKeeping() const {
        const Measurement* best = nullptr;
        for (const Section& section : mStudy.sections) {
            for (const Measurement& row : section.rows) {
                if (row.format.kind == Kind::Float || !(row.snrDb >= mOptions.wantedDb)) {
                    continue;
                }
                if (best == nullptr || isBetter(row, *best)) {
                    best = &row;
                }
            }
        }
        return best;
    }

    /// The fixed-point row with the greatest ratio among those that `admits` accepts.
    template <class Admits>
    const Measurement* highest(Admits&& admits) const {
        const Measurement* best = nullptr;
        for (const Section& section : mStudy.sections) {
            for (const Measurement& row : section.rows) {
                if (row.format.kind == Kind::Float || !admits(row)) {
                    continue;
                }
                if (best == nullptr || row.snrDb > best->snrDb) {
                    best = &row;
                }
            }
        }
        return best;
    }

    void choose() {
        const std::string wanted = ratioText(mOptions.wantedDb) + " dB";
        if (mOptions.format) {
            if (!mMeasured.contains(*mOptions.format)) {
                addRow(addSection("The format of --format"), *mOptions.format);
            }
            const Measurement& asked = mMeasured.at(*mOptions.format);
            mStudy.chosen = asked;
            mStudy.verdict = fullName(asked.format) + " was requested by --format; it " +
                             (asked.snrDb >= mOptions.wantedDb ? "meets" : "misses") + " the target of " + wanted +
                             ": " + resultText(asked) + ".";
            return;
        }
        if (const Measurement* best = bestKeeping()) {
            mStudy.chosen = *best;
            mStudy.verdict = fullName(best->format) + " is the smallest word of the table that meets " + wanted + ": " +
                             resultText(*best) + ".";
            const int wordBits = best->format.wordBits;
            const auto* below = highest([&](const Measurement& row) { return row.format.wordBits < wordBits; });
            if (below != nullptr) {
                mStudy.verdict += "\n  Below " + std::to_string(wordBits) + " bits the best is " +
                                  fullName(below->format) + " with " + ratioWithUnit(below->snrDb) + ".";
            }
            return;
        }
        mStudy.verdict = "No fixed-point format of the table meets " + wanted;
        if (const auto* best = highest([](const Measurement&) { return true; })) {
            mStudy.verdict += "; the best is " + fullName(best->format) + ": " + resultText(*best);
        }
        mStudy.verdict += ".";
    }

    static std::string resultText(const Measurement& row) {
        return ratioWithUnit(row.snrDb) + ", " +
               (row.overflows == 0 ? std::string("no overflow")
                                   : std::to_string(row.overflows) + (row.overflows == 1 ? " overflow" : " overflows"));
    }

    const Options& mOptions;
    std::span<const double> mSamples;
    const Progress& mProgress;
    double mSmallest = 0.0;
    double mGreatest = 0.0;
    std::vector<Kind> mKinds;
    std::map<Format, Measurement> mMeasured;
    std::size_t mPlanned = 0;
    Study mStudy;
};

}  // namespace

Study conduct(const Options& options, std::span<const double> samples, const Progress& progress) {
    return Conductor(options, samples, progress).conduct();
}

}  // namespace study
