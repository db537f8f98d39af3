// A tour of subscripts: reading, assigning, growing and deleting elements of an array, through the host.
#include <vector>

#include "examples/tour_text.h"
#include "host/reference/Session.h"

using hostref::colon;
using hostref::paren;
using hostref::Session;
using hostref::Value;

namespace {

void tour() {
    Session session(TOLVANE_MODULE);
    const Value type = session.construct("embedded.numerictype");
    type.set("SignednessBool", true);
    type.set("WordLength", 8);
    type.set("FractionLength", 4);
    const Value a =
        session.construct("embedded.fi", {Value::matrix(2, 3, std::vector<double>{1, 4, 2, 5, 3, 6}), type});
    show("a", numbers(a));
    show("type", typeOf(a));

    std::puts("\n1. Read: an element, a row, a list, everything, a mask");
    show("a(2,3)", numbers(session.index(a, {paren(2, 3)})));
    show("a(2,:)", numbers(session.index(a, {paren(2, colon())})));
    show("a([6 1])", numbers(session.index(a, {paren(std::vector<double>{6, 1})})));
    show("a(:)", numbers(session.index(a, {paren(colon())})));
    show("a(a > 3)", numbers(session.index(a, {paren(session.call("gt", {a, 3}))})));

    std::puts("\n2. Assign: values are quantized to the type of the array, which is changed in place");
    session.assign(a, {paren(1, 1)}, 1.2);
    show("a(1,1) = 1.2", numbers(a) + "   the nearest multiple of 1/16");
    session.assign(a, {paren(colon(), 3)}, 100);
    show("a(:,3) = 100", numbers(a) + "   saturated");

    std::puts("\n3. Grow: a new array with zeros at the new positions");
    const Value taller = session.assign(a, {paren(3, 1)}, -1);
    show("a(3,1) = -1", numbers(taller));
    show("a is as it was", numbers(a));
    show("from nothing", numbers(session.assign(Value(), {paren(4)}, session.index(a, {paren(1)}))));

    std::puts("\n4. Delete: assign the empty array");
    show("a(:,2) = []", numbers(session.assign(a, {paren(colon(), 2)}, Value())));

    std::puts("\n5. A mistake is an error with an id and a text, and changes nothing");
    try {
        session.index(a, {paren(9)});
    } catch (const hostref::HostError& error) {
        show("a(9)", error.id());
        show("", error.message());
    }
}

}  // namespace

int main() {
    return runTour("indexing_tour", tour);
}
