// The first page of README.md.
#include <iostream>

#include <tolvane/tolvane.h>

int main() {
    using namespace tolvane;

    fixed_log log;                                              // keeps what happens at every place
    const fixed_array x({0.1, 0.9, -0.7, 0.4}, "s16,15", "x");  // quantized once, to nearest
    const fixed_array h({0.5, 0.75, 0.25}, "s12,11 convergent", "h");
    const fixed_array y = conv(x, h, {.sum = fixed_format("s20,18", "sum")});
    const fixed_array z = cast(y, fixed_format("s11,11 wrap", "z"));  // operators and sums are exact, casts round
    std::cout << z << '\n' << log.report();
}
