// Text forms of the rules: the strings of single properties, the eleven lines, the expression that makes the object,
// and the display.
#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

#include "descriptors/enum_texts.h"
#include "descriptors/fimath.h"
#include "numbers/services.h"

using namespace tolvane::detail;

namespace {

using ModeEnum = fimath::ArithmeticModeEnum;

const char* textOf(embedded::RoundModeEnum mode) {
    return enumtexts::textOf(enumtexts::kRoundModes, mode);
}
const char* textOf(embedded::OverflowModeEnum mode) {
    return enumtexts::textOf(enumtexts::kOverflowModes, mode);
}
const char* textOf(ModeEnum mode) {
    return enumtexts::textOf(enumtexts::kArithmeticModes, mode);
}

/// Formats a double with at most 17 significant digits.
std::string formatted(const char* format, double value) __attribute__((format(printf, 1, 0)));
std::string formatted(const char* format, double value) {
    std::array<char, 32> buffer;
    std::snprintf(buffer.data(), buffer.size(), format, value);
    return buffer.data();
}

std::string shortText(double value) {
    return formatted("%1.5g", value);
}

/// Copies a text to memory that the caller frees with bsFree.
char* newText(std::string_view text) {
    auto* const copy = static_cast<char*>(allocateOrRaise(text.size() + 1));
    text.copy(copy, text.size());
    copy[text.size()] = '\0';
    return copy;
}

char* newText(int value) {
    return newText(std::to_string(value));
}

char* newSlopeText(double factor, int exponent, double slope) {
    return newText(factor == 1.0 ? "2^" + std::to_string(exponent) : formatted("%.17g", slope));
}

[[noreturn]] void raiseInvalidText(std::string_view text) {
    raise("fixedpoint:fimath:string2Fimath", "\nThe '" + std::string(text) + "' enumerated value is invalid.\n");
}

/// Takes the next line from the text. The end of the text also ends a line; after it lines are empty and missing.
class Lines {
 public:
    explicit Lines(const char* text) : mRest(text == nullptr ? "" : text) {}

    const char* next() {
        mIsMissing = mRest.empty();
        const std::size_t length = std::min(mRest.find('\n'), mRest.size());
        mLine.assign(mRest, 0, length);
        mRest.remove_prefix(std::min(length + 1, mRest.size()));
        return mLine.c_str();
    }
    bool wasLastMissing() const { return mIsMissing; }

    template <class Table>
    auto nextMode(const Table& table) {
        const auto value = enumtexts::valueOf(table, next());
        if (!value) {
            raiseInvalidText(mLine);
        }
        return *value;
    }

    int nextNumber() {
        const long number = std::strtol(next(), nullptr, 10);
        return static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
    }

 private:
    std::string_view mRest;
    std::string mLine;
    bool mIsMissing = false;
};

/// Prints a property in its own line, with right-aligned names.
void printLine(const std::string& property, const std::string& value) {
    print("\n%22s: %s", property.c_str(), value.c_str());
}

}  // namespace

// Strings of single properties

char* fimath::getRoundModeString() const {
    return newText(textOf(mRoundMode));
}
char* fimath::getOverflowModeString() const {
    return newText(textOf(mOverflowMode));
}
char* fimath::getProductModeString() const {
    return newText(textOf(mProduct.mode));
}
char* fimath::getSumModeString() const {
    return newText(textOf(mSum.mode));
}
char* fimath::getProductWordLengthString() const {
    return newText(mProduct.wordLength);
}
char* fimath::getSumWordLengthString() const {
    return newText(mSum.wordLength);
}
char* fimath::getMaxProductWordLengthString() const {
    return newText(mProduct.maxWordLength);
}
char* fimath::getMaxSumWordLengthString() const {
    return newText(mSum.maxWordLength);
}
char* fimath::getProductFixedExponentString() const {
    return newText(mProduct.fixedExponent);
}
char* fimath::getSumFixedExponentString() const {
    return newText(mSum.fixedExponent);
}
char* fimath::getProductFractionLengthString() const {
    return newText(mProduct.fractionLength());
}
char* fimath::getSumFractionLengthString() const {
    return newText(mSum.fractionLength());
}
char* fimath::getCastBeforeSumString() const {
    return newText(mCastBeforeSum ? 1 : 0);
}
char* fimath::getProductSlopeAdjustmentFactorString() const {
    return newText(shortText(mProduct.slopeAdjustmentFactor));
}
char* fimath::getSumSlopeAdjustmentFactorString() const {
    return newText(shortText(mSum.slopeAdjustmentFactor));
}
char* fimath::getProductBiasString() const {
    return newText(shortText(mProduct.bias));
}
char* fimath::getSumBiasString() const {
    return newText(shortText(mSum.bias));
}
char* fimath::getProductSlopeString() const {
    return newSlopeText(mProduct.slopeAdjustmentFactor, mProduct.fixedExponent, mProduct.slope());
}
char* fimath::getSumSlopeString() const {
    return newSlopeText(mSum.slopeAdjustmentFactor, mSum.fixedExponent, mSum.slope());
}

// The eleven lines

char* fimath::convertToString() const {
    std::string text;
    for (const std::string& line :
         {std::string(textOf(mRoundMode)), std::string(textOf(mOverflowMode)), std::string(textOf(mProduct.mode)),
          std::to_string(mProduct.wordLength), std::to_string(mProduct.maxWordLength),
          std::to_string(mProduct.fractionLength()), std::string(textOf(mSum.mode)), std::to_string(mSum.wordLength),
          std::to_string(mSum.maxWordLength), std::to_string(mSum.fractionLength()),
          std::to_string(mCastBeforeSum ? 1 : 0)}) {
        text += line + '\n';
    }
    return newText(text);
}

std::unique_ptr<fimath> fimath::string2Fimath(const char* text) {
    Lines lines(text);
    const auto nextRegister = [&lines](RegisterRules& rules) {
        rules.mode = lines.nextMode(enumtexts::kArithmeticModes);
        rules.wordLength = lines.nextNumber();
        rules.maxWordLength = lines.nextNumber();
        rules.setFractionLength(lines.nextNumber());
    };
    std::unique_ptr<fimath> made(new fimath(Factory{}));
    made->mRoundMode = lines.nextMode(enumtexts::kRoundModes);
    made->mOverflowMode = lines.nextMode(enumtexts::kOverflowModes);
    nextRegister(made->mProduct);
    nextRegister(made->mSum);
    made->mCastBeforeSum = lines.nextNumber() != 0;
    if (lines.wasLastMissing()) {
        raiseInvalidText("");
    }
    return made;
}

// The expression

std::string fimath::registerExpression(const RegisterRules& rules, const std::string& name, const char* separator) {
    const auto with = [](const std::string& property, const std::string& value) {
        return ",...\n'" + property + "', " + value;
    };
    const std::string word = with(name + "WordLength", std::to_string(rules.wordLength));
    switch (rules.mode) {
        case ArithmeticModeEnum::FullPrecision:
            return ",...\n'" + name + "Mode','FullPrecision'" +
                   with("Max" + name + "WordLength", std::to_string(rules.maxWordLength));
        case ArithmeticModeEnum::KeepLSB:
        case ArithmeticModeEnum::KeepMSB:
            return with(name + "Mode", "'" + std::string(textOf(rules.mode)) + "'") + word;
        case ArithmeticModeEnum::SpecifyPrecision:
            break;
        default:
            return {};
    }
    const std::string start = separator + ("'" + name + "Mode', 'SpecifyPrecision'") + word;
    if (!rules.isSlopeBiasScaled()) {
        return start + with(name + "FractionLength", std::to_string(rules.fractionLength()));
    }
    return start + with(name + "SlopeAdjustmentFactor", shortText(rules.slopeAdjustmentFactor)) +
           with(name + "FixedExponent", std::to_string(rules.fixedExponent)) +
           with(name + "Bias", shortText(rules.bias));
}

std::string fimath::toString() const {
    std::string text = std::string("fimath('RoundMode', '") + textOf(mRoundMode) + "',...\n'OverflowMode', '" +
                       textOf(mOverflowMode) + "'";
    // Callers compare the text, so the one missing line break stays.
    text += registerExpression(mProduct, "Product", ", ");
    text += registerExpression(mSum, "Sum", ",...\n");
    if (mSum.mode != ArithmeticModeEnum::FullPrecision) {
        text += std::string(",...\n'CastBeforeSum', ") + (mCastBeforeSum ? "true" : "false");
    }
    return text + ")";
}

// The display

void fimath::printRegister(const RegisterRules& rules, const std::string& name) {
    printLine(name + "Mode", textOf(rules.mode));
    switch (rules.mode) {
        case ArithmeticModeEnum::FullPrecision:
            printLine("Max" + name + "WordLength", std::to_string(rules.maxWordLength));
            return;
        case ArithmeticModeEnum::KeepLSB:
        case ArithmeticModeEnum::KeepMSB:
            printLine(name + "WordLength", std::to_string(rules.wordLength));
            return;
        case ArithmeticModeEnum::SpecifyPrecision:
            break;
        default:
            return;
    }
    printLine(name + "WordLength", std::to_string(rules.wordLength));
    if (rules.isSlopeBiasScaled()) {
        printLine(name + "Slope", shortText(rules.slope()));
        printLine(name + "Bias", shortText(rules.bias));
    } else {
        printLine(name + "FractionLength", std::to_string(rules.fractionLength()));
    }
}

void fimath::disp() const {
    printLine("RoundMode", textOf(mRoundMode));
    printLine("OverflowMode", textOf(mOverflowMode));
    printRegister(mProduct, "Product");
    printRegister(mSum, "Sum");
    if (mSum.mode != ArithmeticModeEnum::FullPrecision) {
        printLine("CastBeforeSum", mCastBeforeSum ? "true" : "false");
    }
    print("\n");
}
