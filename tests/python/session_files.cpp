// Files as a session of the host sees them, for the tests of the Python package:
//
//     session_files save FILE        makes variables of all kinds and saves them
//     session_files show FILE        prints what a file holds, a line for each variable or part of one
//     session_files copy FROM TO     loads and saves
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include "host/om.h"
#include "host/reference/Session.h"

using hostref::Session;
using hostref::Value;

namespace {

std::string sizes(const std::vector<std::size_t>& dimensions) {
    std::string text;
    for (const std::size_t size : dimensions) {
        text += (text.empty() ? "" : "x") + std::to_string(size);
    }
    return text;
}

std::string bytesOf(const void* data, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", static_cast<const unsigned char*>(data)[i]);
        text += digits;
    }
    return text.empty() ? "-" : text;
}

std::string numberOf(const Value& value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value.toDouble());
    return text;
}

std::string typeOf(const Value& type) {
    std::string text = type.get("DataTypeModeNoWarning").toText() + ";" +
                       (type.get("SignednessBool").isEmpty() ? "auto" : numberOf(type.get("SignednessBool")));
    for (const char* const name : {"WordLength", "SlopeAdjustmentFactor", "FixedExponent", "Bias"}) {
        text += ";" + numberOf(type.get(name));
    }
    return text;
}

std::string digitsOf(const Value& object) {
    std::string text;
    for (const std::string& line : object.get("hex").toLines()) {
        for (const char letter : line + " ") {
            if (letter != ' ') {
                text += letter;
            } else if (!text.empty() && text.back() != ',') {
                text += ',';
            }
        }
    }
    while (text.ends_with(',')) {
        text.pop_back();
    }
    return text.empty() ? "-" : text;
}

void show(Session& session, const std::string& place, const Value& value);

void showFi(Session& session, const std::string& place, const Value& x) {
    const bool isComplex = !session.call("isreal", {x}).toBool();
    std::vector<std::size_t> dimensions;
    for (const double size : session.call("size", {x}).toDoubles()) {
        dimensions.push_back(static_cast<std::size_t>(size));
    }
    // The digits column by column.
    const auto digits = [&](const char* part) {
        const double count = session.call("numberofelements", {x}).toDouble();
        const Value column = session.call("fi_reshape", {session.call(part, {x}), std::vector<double>{count, 1}});
        return count == 0 ? "-" : digitsOf(column);
    };
    std::cout << place << " fi " << sizes(dimensions) << " [" << typeOf(x.get("numerictype")) << "] " << digits("real")
              << ' ' << (isComplex ? digits("imag") : "-") << " tag=" << x.get("Tag").toText();
    if (x.get("fimathislocal").toBool()) {
        for (const char* const name : {"RoundMode", "OverflowMode", "ProductMode", "ProductWordLength", "SumMode",
                                       "SumWordLength", "SumFixedExponent", "CastBeforeSum"}) {
            const Value rule = x.get(name);
            std::cout << ' ' << name << '=' << (rule.className() == "char" ? rule.toText() : numberOf(rule));
        }
    }
    std::cout << '\n';
}

void showArray(Session& session, const std::string& place, const hvArray* array) {
    const auto dimensions = hvGetDims(array);
    const std::string size = sizes({dimensions.begin(), dimensions.end()});
    const std::size_t count = hvGetNumberOfElements(array);
    std::cout << place << ' ' << hvGetClassName(array) << ' ' << size;
    if (hvIsCell(array)) {
        std::cout << '\n';
        for (std::size_t i = 0; i < count; ++i) {
            show(session, place + "[" + std::to_string(i) + "]", Value::share(hvGetCell(array, i)));
        }
    } else if (hvIsStruct(array)) {
        std::cout << '\n';
        for (int field = 0; field < hvGetNumberOfFields(array); ++field) {
            for (std::size_t i = 0; i < count; ++i) {
                show(session, place + "." + hvGetFieldNameByNumber(array, field),
                     Value::share(hvGetFieldByNumber(array, i, field)));
            }
        }
    } else {
        const std::size_t bytes = count * hvGetElementSize(array);
        std::cout << ' ' << bytesOf(hvGetData(array), bytes);
        if (hvIsComplex(array)) {
            std::cout << ' ' << bytesOf(hvGetImagData(array), bytes);
        }
        std::cout << '\n';
    }
}

void show(Session& session, const std::string& place, const Value& value) {
    if (!value.isObject()) {
        showArray(session, place, value.array());
        return;
    }
    const std::string name = value.className();
    if (name == "embedded.fi" && session.call("isfixed", {value}).toBool()) {
        showFi(session, place, value);
    } else if (name == "embedded.numerictype") {
        std::cout << place << " type [" << typeOf(value) << "]\n";
    } else if (name == "embedded.quantizer") {
        std::cout << place << " quantizer " << value.get("mode").toText() << ' ' << numberOf(value.get("wordlength"))
                  << ',' << numberOf(value.get("fractionlength")) << ' ' << value.get("roundmode").toText() << ' '
                  << value.get("overflowmode").toText() << " tag=" << value.get("Tag").toText() << '\n';
    } else {
        std::cout << place << " object " << name;
        for (OMPropInfo* const property : value.interface()->getClass()->getProperties()) {
            if (property->isExternalGetAccess() && property->isSerializeAccess()) {
                try {
                    std::cout << ' ' << property->getName() << '=' << value.get(property->getName());
                } catch (const hostref::HostError& error) {
                    std::cout << ' ' << property->getName() << '!' << error.id();
                }
            }
        }
        std::cout << '\n';
    }
}

// What is saved

using Settings = std::vector<std::pair<const char*, Value>>;

const Value& with(const Value& object, const Settings& settings) {
    for (const auto& [property, value] : settings) {
        object.set(property, value);
    }
    return object;
}

/// Words of random digits, with the bits of the word alone.
std::string randomDigits(std::mt19937_64& random, int words, int bits) {
    std::string text;
    for (int word = 0; word < words; ++word) {
        for (int bit = (bits + 3) / 4 * 4; bit > 0; bit -= 4) {
            text += "0123456789abcdef"[random() & (bit > bits ? (1U << (bits % 4)) - 1 : 15U)];
        }
        text += ' ';
    }
    return text;
}

void save(Session& session, const std::string& file) {
    std::mt19937_64 random(20240407);
    std::vector<hostref::Variable> variables;
    const auto type = [&](const Settings& settings) {
        return with(session.construct("embedded.numerictype"), settings);
    };
    const auto fi = [&](const Value& values, const Value& itsType, const char* tag) {
        return with(session.construct("embedded.fi", {values, itsType}), {{"fimath", Value()}, {"Tag", tag}});
    };
    for (const int bits : {1, 7, 8, 9, 16, 31, 32, 33, 40, 63, 64, 65, 96, 128, 129, 1000}) {
        for (const bool isSigned : {true, false}) {
            const Value x =
                fi(std::vector<double>(6),
                   type({{"SignednessBool", isSigned}, {"WordLength", bits}, {"FractionLength", bits / 2 - 3}}), "");
            x.set("hex", randomDigits(random, 6, bits));
            variables.push_back({(isSigned ? "s" : "u") + std::to_string(bits),
                                 with(session.call("fi_reshape", {x, std::vector<double>{3, 2}}), {{"Tag", "words"}})});
        }
    }
    const Value s16 = type({{"SignednessBool", true}, {"WordLength", 16}, {"FractionLength", 15}});
    const Value scaled = type(
        {{"DataTypeMode", "Fixed-point: slope and bias scaling"}, {"WordLength", 12}, {"Slope", 0.3}, {"Bias", -1.5}});
    const Value doubles = type({{"DataTypeMode", "Double"}});
    const Value rules = with(session.construct("embedded.fimath"), {{"RoundMode", "floor"},
                                                                    {"OverflowMode", "wrap"},
                                                                    {"SumMode", "SpecifyPrecision"},
                                                                    {"SumWordLength", 24},
                                                                    {"SumFractionLength", 17},
                                                                    {"CastBeforeSum", false}});
    const Value own = session.construct("embedded.fi", {std::vector<double>{0.1, -0.7}, s16, rules});
    const Value parts[] = {1.5, "two", own, s16};
    const char* const names[] = {"taps", "gain"};
    hvArrayOwner state(hvCreateStructMatrix(1, 1, 2, names));
    hvSetFieldByNumber(state.get(), 0, 0, own.toArray().release());
    hvSetFieldByNumber(state.get(), 0, 1, Value(2).toArray().release());
    const std::vector<hostref::Variable> others = {
        {"own", own},
        {"scaled", fi(std::vector<double>{0.1, 3.3, -7}, scaled, "scale")},
        {"scaledType", scaled},
        {"complex", fi(Value::matrix(1, 2, std::vector{0.25, -0.5}, std::vector{0.75, -1.0}), s16, "")},
        {"none", fi(Value(), s16, "")},
        {"floating", session.construct("embedded.fi", {0.1, doubles})},
        {"type", s16},
        {"doubles", doubles},
        {"quantizer",
         with(session.construct("embedded.quantizer"),
              {{"roundmode", "fix"}, {"overflowmode", "wrap"}, {"format", std::vector<double>{12, 9}}, {"Tag", "q"}})},
        {"rules", rules},
        {"pointer", with(session.construct("embedded.pointertype"), {{"BaseType", s16}})},
        {"text", "first try \xc3\xa4"},
        {"empty", Value()},
        {"matrix", Value::matrix(2, 3, std::vector<double>{1, 2, 3, 4, 5, 6})},
        {"row", Value::cells(parts)},
        {"state", Value(std::move(state))}};
    variables.insert(variables.end(), others.begin(), others.end());
    session.save(file, variables);
}

void run(const std::string& command, const std::string& file, const std::string& to) {
    Session session(TOLVANE_MODULE);
    if (command == "save") {
        save(session, file);
    } else if (command == "copy") {
        session.save(to, session.load(file));
    } else {
        for (const hostref::Variable& variable : session.load(file)) {
            show(session, variable.name, variable.value);
        }
    }
}

}  // namespace

int main(int count, char** arguments) {
    try {
        run(count > 1 ? arguments[1] : "", count > 2 ? arguments[2] : "", count > 3 ? arguments[3] : "");
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
