// A tour of the functions around the array: construction in one line, joining, reduction, division and comparison.
#include <vector>

#include "examples/tour_text.h"
#include "host/front/front.h"

using hostref::Session;
using hostref::Value;

namespace {

void tour() {
    Session session(TOLVANE_MODULE);
    front::install(session);

    std::puts("1. Make: from values, and any properties of the word");
    const Value pi = session.call("fi", {3.14159265});
    show("fi(pi)", numbers(pi) + "   " + typeOf(pi));
    const Value low = session.call("fi", {3.14159265, 1, 8, 4, "RoundMode", "floor"});
    show("fi(pi,1,8,4,floor)", numbers(low) + "   " + typeOf(low));
    show("from hex words", numbers(session.call("fi", {"WordLength", 8, "FractionLength", 7, "hex", "7f 80"})));

    std::puts("\n2. Join: the leftmost fi decides the type");
    const Value row = session.call("horzcat", {1.3, low, 100});
    show("[1.3 a 100]", numbers(row) + "   " + typeOf(row));
    const Value both = session.call("vertcat", {row, session.call("uminus", {row})});
    show("[b ; -b]", numbers(both));

    std::puts("\n3. Reduce: along any dimension");
    show("sum along rows", numbers(session.call("sum", {both, 2})));
    const std::vector<Value> most = session.call(2, "max", {both, Value(), 2});
    show("max along rows", numbers(most[0]) + " at places " + numbers(most[1].toDoubles()));
    show("max(b, 2)", numbers(session.call("max", {row, 2})));

    std::puts("\n4. Divide: the type keeps the whole integer part");
    for (const auto& [what, divisor] : {std::pair<const char*, Value>{"b / 3", 3}, {"b / a", low}}) {
        const Value quotient = session.call("rdivide", {row, divisor});
        show(what, numbers(quotient) + "   " + typeOf(quotient));
    }
    const Value z = session.call("complex", {session.call("fi", {3, 1, 8, 3}), -4});
    show("abs(3 - 4i)", numbers(session.call("abs", {z})));

    std::puts("\n5. Compare: by value, or with all properties");
    const Value wide = session.call("fi", {low, "WordLength", 12});
    show("isequal", session.call("isequal", {low, wide}).toBool() ? "yes" : "no");
    show("ispropequal", session.call("ispropequal", {low, wide}).toBool() ? "yes" : "no");

    std::puts("\n6. A mistake is an error with an id and a text, and creates nothing");
    try {
        session.call("fi", {1, "WordLenth", 8});
    } catch (const hostref::HostError& error) {
        show("fi(1,'WordLenth',8)", error.id());
        show("", error.message());
    }
}

}  // namespace

int main() {
    return runTour("front_tour", tour);
}
