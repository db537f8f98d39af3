// Memories of Verilog: one word a line, in hexadecimal or binary digits.
#include <algorithm>
#include <array>
#include <charconv>

#include "program/word_codecs.h"

namespace tolvane::detail {

namespace {

constexpr std::size_t kPackedAtOnce = 256;
constexpr std::uint64_t kMostFilled = std::uint64_t{1} << 26;

std::string hexOf(std::uint64_t address) {
    std::array<char, 16> digits{};
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), address, 16).ptr;
    return std::string(std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data())));
}

std::string valueText(std::span<const fixed_array> arrays, std::size_t index) {
    std::string text;
    for (const fixed_array& array : arrays) {
        text += (text.empty() ? "" : ", ") + array.at(index).text();
        if (array.is_complex()) {
            const exact_value imag = array.imag_at(index);
            text += (imag.is_negative() ? " - " + (-imag).text() : " + " + imag.text()) + "i";
        }
    }
    return text;
}

/// Words that follow one another from an address on.
struct Run {
    std::uint64_t address;
    std::size_t first;  // among the words in the order of the text
    const char* place;
    std::size_t count = 0;
};

/// The words of a text in its order, and their addresses.
class MemoryReader {
 public:
    MemoryReader(const SourceText& source, const WordLayout& layout, const word_options& options, int digitBits)
        : mSource(source), mBits(layout.bits()), mLimbs(layout.limbs()), mDigitBits(digitBits), mOptions(options) {
        mRuns.push_back({options.first_address, 0, source.begin()});
        // No more words than digits and what parts them allow, and mostly as many.
        mWords.reserve((source.text.size() / (digitsOf(mBits, mDigitBits) + 1) + 1) * mLimbs);
    }

    std::vector<mp_limb_t> read() {
        const char* at = mSource.begin();
        const char* const end = mSource.end();
        while (at != end) {
            switch (const CharacterKind kind = kindOf(*at); kind) {
                case kSpace:
                    ++at;
                    break;
                case kComment:
                    at = mSource.skipComment(at);
                    break;
                case kAddress:
                    at = readAddress(at);
                    break;
                default:
                    at = readWord(at);
            }
        }
        closeRun();
        return inOrder();
    }

 private:
    std::size_t count() const { return mWords.size() / mLimbs; }

    const char* readWord(const char* at) {
        noteWork(mLimbs);
        const std::size_t place = mWords.size();
        mp_limb_t word = 0;
        if (mLimbs > 1) {
            mWords.resize(place + mLimbs);
        }
        const DigitsRead read =
            readDigits(at, mSource.end(), mBits, mDigitBits, mLimbs > 1 ? mWords.data() + place : &word);
        if (mLimbs == 1) {
            mWords.push_back(word);
        }
        if (read.fault != DigitFault::none) {
            mSource.refuse(read.end, explained(read.fault, mSource.wordAt(at), *read.end, mBits, mDigitBits));
        }
        return read.end;
    }

    const char* readAddress(const char* at) {
        mp_limb_t address = 0;
        const char* const digits = at + 1;
        if (digits == mSource.end() || kindOf(*digits) >= kDigits) {
            mSource.refuse(at, "\"@\" stands before a hexadecimal address.");
        }
        const DigitsRead read = readDigits(digits, mSource.end(), WordGrid::kLimbBits, 4, &address);
        if (read.fault != DigitFault::none) {
            mSource.refuse(read.end, "The address " + explained(read.fault, mSource.wordAt(digits), *read.end,
                                                                WordGrid::kLimbBits, 4));
        }
        if (address < mOptions.first_address) {
            mSource.refuse(at, "The address 0x" + hexOf(address) + " is before that of the first element, 0x" +
                                   hexOf(mOptions.first_address) + "; options.first_address sets it.");
        }
        closeRun();
        mRuns.push_back({address, count(), at});
        return read.end;
    }

    void closeRun() {
        mRuns.back().count = count() - mRuns.back().first;
        if (mRuns.back().count == 0) {
            mRuns.pop_back();
        }
    }

    std::vector<mp_limb_t> inOrder() {
        if (mRuns.size() <= 1 && (mRuns.empty() || mRuns.front().address == mOptions.first_address)) {
            return std::move(mWords);
        }
        std::ranges::stable_sort(mRuns, {}, &Run::address);
        std::vector<mp_limb_t> words;
        words.reserve(mWords.size());
        std::uint64_t next = mOptions.first_address;
        std::uint64_t filled = 0;
        for (const Run& run : mRuns) {
            if (run.address < next) {
                mSource.refuse(run.place, "There are words for the address 0x" + hexOf(run.address) + " twice.");
            }
            const std::uint64_t gap = run.address - next;
            if (gap != 0 && !mOptions.fill_gaps) {
                mSource.refuse(run.place,
                               "There are no words for the addresses 0x" + hexOf(next) + " to 0x" +
                                   hexOf(run.address - 1) +
                                   "; options.fill_gaps makes them zeros, and options.first_address says where the "
                                   "elements begin.",
                               "tolvane:words:gap");
            }
            filled += std::min(gap, kMostFilled);
            if (gap > kMostFilled || filled > kMostFilled) {
                mSource.refuse(run.place, "More than 2^26 addresses have no words.", "tolvane:words:gap");
            }
            if (run.count > ~run.address) {
                mSource.refuse(run.place, "The words go beyond the last address of 64 bits.");
            }
            words.resize(words.size() + static_cast<std::size_t>(gap) * mLimbs);
            const auto from = mWords.begin() + static_cast<std::ptrdiff_t>(run.first * mLimbs);
            words.insert(words.end(), from, from + static_cast<std::ptrdiff_t>(run.count * mLimbs));
            next = run.address + run.count;
        }
        return words;
    }

    const SourceText& mSource;
    int mBits;
    std::size_t mLimbs;
    int mDigitBits;
    const word_options& mOptions;
    std::vector<mp_limb_t> mWords;
    std::vector<Run> mRuns;
};

}  // namespace

void writeMemory(std::span<const fixed_array> arrays, const word_options& options, int digitBits, TextSink& sink) {
    const WordPacker packer(arrays);
    const int bits = packer.layout().bits();
    const std::size_t limbs = packer.layout().limbs();
    const std::size_t digits = digitsOf(bits, digitBits);
    sink.add(describe(arrays, options));
    if (options.first_address != 0 && options.address_every == 0) {
        sink.add("@" + hexOf(options.first_address) + "\n");
    }
    std::vector<mp_limb_t> words(kPackedAtOnce * limbs);
    for (std::size_t begin = 0; begin < packer.count(); begin += kPackedAtOnce) {
        const std::size_t count = std::min(kPackedAtOnce, packer.count() - begin);
        packer.pack(begin, count, words.data());
        for (std::size_t i = 0; i < count; ++i) {
            if (options.address_every != 0 && (begin + i) % options.address_every == 0) {
                sink.add("@" + hexOf(options.first_address + begin + i) + "\n");
            }
            char* const end = writeDigits(words.data() + i * limbs, bits, digitBits, sink.room(digits + 1));
            if (options.values) {
                sink.advance(end);
                sink.add(" // " + valueText(arrays, begin + i) + "\n");
            } else {
                *end = '\n';
                sink.advance(end + 1);
            }
        }
    }
}

std::vector<fixed_array> readMemory(const SourceText& source, std::span<const word_signal> signals,
                                    const word_options& options, int digitBits) {
    WordLayout layout;
    std::vector<PackedFormat> formats;
    for (const word_signal& signal : signals) {
        layout.add(signal.format.type(), signal.is_complex);
        formats.push_back({signal.format, signal.is_complex});
    }
    const std::vector<mp_limb_t> words = MemoryReader(source, layout, options, digitBits).read();
    return unpacked(words, layout, formats);
}

}  // namespace tolvane::detail
