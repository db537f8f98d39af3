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

Value made(Session& session, const char* name, const std::vector<std::pair<const char*, Value>>& settings) {
    const Value object = session.construct(name);
    for (const auto& [property, value] : settings) {
        object.set(property, value);
    }
    return object;
}

Value fi(Session& session, const Value& values, const Value& type, const char* tag) {
    const Value x = session.construct("embedded.fi", {values, type});
    x.set("fimath", Value());
    x.set("Tag", tag);
    return x;
}

void save(Session& session, const std::string& file) {
    std::mt19937_64 random(20240407);
    std::vector<hostref::Variable> variables;
    for (const int bits : {1, 7, 8, 9, 16, 31, 32, 33, 40, 63, 64, 65, 96, 128, 129, 1000}) {
        for (const bool isSigned : {true, false}) {
            const Value type =
                made(session, "embedded.numerictype",
                     {{"SignednessBool", isSigned}, {"WordLength", bits}, {"FractionLength", bits / 2 - 3}});
            // Random digits, with the bits of the word alone.
            std::string text;
            for (int word = 0; word < 6; ++word) {
                for (int bit = (bits + 3) / 4 * 4; bit > 0; bit -= 4) {
                    const unsigned mask = bit > bits ? (1U << (bits % 4)) - 1 : 15U;
                    text += "0123456789abcdef"[random() & mask];
                }
                text += ' ';
            }
            const Value row = fi(session, Value::matrix(1, 6, std::vector<double>(6)), type, "words");
            row.set("hex", text);
            const Value words = session.call("fi_reshape", {row, std::vector<double>{3, 2}});
            words.set("Tag", "words");
            variables.push_back({(isSigned ? "s" : "u") + std::to_string(bits), words});
        }
    }
    const Value s16 =
        made(session, "embedded.numerictype", {{"SignednessBool", true}, {"WordLength", 16}, {"FractionLength", 15}});
    const Value scaled = made(session, "embedded.numerictype",
                              {{"DataTypeMode", "Fixed-point: slope and bias scaling"},
                               {"SignednessBool", true},
                               {"WordLength", 12},
                               {"Slope", 0.3},
                               {"Bias", -1.5}});
    const Value rules = made(session, "embedded.fimath",
                             {{"RoundMode", "floor"},
                              {"OverflowMode", "wrap"},
                              {"SumMode", "SpecifyPrecision"},
                              {"SumWordLength", 24},
                              {"SumFractionLength", 17},
                              {"CastBeforeSum", false}});
    const Value own = session.construct("embedded.fi", {std::vector<double>{0.1, -0.7}, s16, rules});
    variables.push_back({"own", own});
    variables.push_back({"scaled", fi(session, std::vector<double>{0.1, 3.3, -7}, scaled, "scale")});
    variables.push_back({"scaledType", scaled});
    variables.push_back(
        {"complex",
         fi(session, Value::matrix(1, 2, std::vector<double>{0.25, -0.5}, std::vector<double>{0.75, -1}), s16, "")});
    variables.push_back({"none", fi(session, Value(), s16, "")});
    variables.push_back({"floating", session.construct("embedded.fi", {0.1, made(session, "embedded.numerictype",
                                                                                 {{"DataTypeMode", "Double"}})})});
    variables.push_back({"type", s16});
    variables.push_back({"doubles", made(session, "embedded.numerictype", {{"DataTypeMode", "Double"}})});
    variables.push_back(
        {"quantizer",
         made(session, "embedded.quantizer",
              {{"roundmode", "fix"}, {"overflowmode", "wrap"}, {"format", std::vector<double>{12, 9}}, {"Tag", "q"}})});
    variables.push_back({"rules", rules});
    variables.push_back({"pointer", made(session, "embedded.pointertype", {{"BaseType", s16}})});
    variables.push_back({"text", "first try \xc3\xa4"});
    variables.push_back({"empty", Value()});
    variables.push_back({"flag", true});
    variables.push_back({"matrix", Value::matrix(2, 3, std::vector<double>{1, 2, 3, 4, 5, 6})});
    const Value parts[] = {Value(1.5), Value("two"), own, s16};
    variables.push_back({"row", Value::cells(parts)});
    const char* const names[] = {"taps", "gain"};
    hvArrayOwner state(hvCreateStructMatrix(1, 1, 2, names));
    hvSetFieldByNumber(state.get(), 0, 0, own.toArray().release());
    hvSetFieldByNumber(state.get(), 0, 1, Value(2).toArray().release());
    variables.push_back({"state", Value(std::move(state))});
    session.save(file, variables);
}

int run(const std::vector<std::string>& arguments) {
    Session session(TOLVANE_MODULE);
    if (arguments.size() == 2 && arguments[0] == "save") {
        save(session, arguments[1]);
    } else if (arguments.size() == 2 && arguments[0] == "show") {
        for (const hostref::Variable& variable : session.load(arguments[1])) {
            show(session, variable.name, variable.value);
        }
    } else if (arguments.size() == 3 && arguments[0] == "copy") {
        session.save(arguments[2], session.load(arguments[1]));
    } else {
        std::cerr << "session_files save FILE | show FILE | copy FROM TO\n";
        return 2;
    }
    return 0;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        return run({arguments + 1, arguments + count});
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
