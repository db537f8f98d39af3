// The tour of README: an array, its type, its rules, a sum, and its log, all through the host.
//
// The program is linked only with the host, not with the library; the session loads libtolvane.so and starts it. Every
// printed line is read from the objects.
#include <cstdio>
#include <vector>

#include "examples/LoggingSwitch.h"
#include "examples/tour_text.h"
#include "host/reference/Session.h"

using hostref::Session;
using hostref::Value;

namespace {

void tour() {
    Session session(TOLVANE_MODULE);

    std::puts("1. Make an array of 8-bit words with 6 fraction bits");
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

    std::puts("\n3. Look at the rules behind this");
    for (const char* rule : {"RoundMode", "OverflowMode", "SumMode"}) {
        show(rule, sum.get(rule).toText());
    }

    std::puts("\n4. Change them: sums of 8 bits again, truncated instead of rounded");
    const Value rules = session.construct("embedded.fimath");
    rules.set("RoundMode", "floor");
    rules.set("OverflowMode", "saturate");
    rules.set("SumMode", "SpecifyPrecision");
    rules.set("SumWordLength", 8);
    rules.set("SumFractionLength", 6);
    const Value b = session.construct("embedded.fi", {given, type, rules});
    show("b", numbers(b) + "   cut down to multiples of 1/64");

    std::puts("\n5. Switch logging on to see warnings");
    const LoggingSwitch logging(session);
    const Value narrow = session.call("plus", {b, b});
    show("b + b", numbers(narrow));
    show("type", typeOf(narrow));
    for (const hostref::Warning& warning : session.takeWarnings()) {
        show("warning " + warning.id, warning.text);
    }
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
    return runTour("first_steps", tour);
}
