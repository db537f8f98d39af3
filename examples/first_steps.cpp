// The tour of README: an array, its type, its rules, a sum, and what the log knows, all through the host.
//
// The program is linked with nothing of the library but the host; the session loads libtolvane.so and starts it. Every
// line that is printed is read from the objects.
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "examples/LoggingSwitch.h"
#include "host/reference/HostError.h"
#include "host/reference/Session.h"

using hostref::Session;
using hostref::Value;

namespace {

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

/// "[0.5  -0.25]"
std::string numbers(const std::vector<double>& values) {
    std::string text;
    for (const double value : values) text += (text.empty() ? "" : "  ") + number(value);
    return "[" + text + "]";
}

std::string numbers(const Value& array) {
    return numbers(array.get("double").toDoubles());
}

/// "signed, 16 bits, fraction length 15"
std::string typeOf(const Value& array) {
    const Value type = array.get("numerictype");
    return std::string(type.get("SignednessBool").toBool() ? "signed, " : "unsigned, ") +
           number(type.get("WordLength").toDouble()) + " bits, fraction length " +
           number(type.get("FractionLength").toDouble());
}

void show(const std::string& what, const std::string& is) {
    std::printf("  %-22s %s\n", what.c_str(), is.c_str());
}

void tour() {
    Session session(TOLVANE_MODULE);

    std::puts("1. Make an array of 8-bit words, 6 of the bits behind the binary point");
    const Value type = session.construct("embedded.numerictype");
    type.set("SignednessBool", true);
    type.set("WordLength", 8);
    type.set("FractionLength", 6);
    const std::vector<double> given = {1.5, -0.7, 0.12};
    const Value a = session.construct("embedded.fi", {given, type});
    show("given", numbers(given));
    show("kept", numbers(a) + "   rounded to multiples of 1/64");
    show("type", typeOf(a));

    std::puts("\n2. Add: the sum grows by the bit that a carry needs");
    const Value sum = session.call("plus", {a, a});
    show("a + a", numbers(sum));
    show("type", typeOf(sum));
    show("a - 0.25", numbers(session.call("minus", {a, 0.25})));

    std::puts("\n3. Look at the rules that said so");
    for (const char* rule : {"RoundMode", "OverflowMode", "SumMode"}) show(rule, sum.get(rule).toText());

    std::puts("\n4. Change them: sums of 8 bits again, cut down instead of rounded");
    const Value rules = session.construct("embedded.fimath");
    rules.set("RoundMode", "floor");
    rules.set("OverflowMode", "saturate");
    rules.set("SumMode", "SpecifyPrecision");
    rules.set("SumWordLength", 8);
    rules.set("SumFractionLength", 6);
    const Value b = session.construct("embedded.fi", {given, type, rules});
    show("b", numbers(b) + "   cut down to multiples of 1/64");

    std::puts("\n5. Switch logging on, and hear what happens");
    const LoggingSwitch logging(session);
    const Value narrow = session.call("plus", {b, b});
    show("b + b", numbers(narrow));
    show("type", typeOf(narrow));
    for (const hostref::Warning& warning : session.takeWarnings()) show("warning " + warning.id, warning.text);
    show("smallest, greatest", number(session.call("minlog", {narrow}).toDouble()) + ", " +
                                   number(session.call("maxlog", {narrow}).toDouble()));
    show("overflows", number(session.call("noverflows", {narrow}).toDouble()));

    std::puts("\n6. A mistake is an error with an id and a text, and changes nothing");
    try {
        session.call("plus", {a, b});
    } catch (const hostref::HostError& error) {
        show("a + b", error.id());
        show("", error.message());
    }
}

}  // namespace

int main() {
    try {
        tour();
    } catch (const hostref::HostError& error) {
        std::cerr << "first_steps: " << error.id() << ": " << error.message() << '\n';
        return 1;
    } catch (const std::exception& error) {
        std::cerr << "first_steps: " << error.what() << '\n';
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
