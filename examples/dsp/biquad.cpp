// A resonant low-pass of second order as a loop, with a place for each thing that a processor would hold.
#include <cmath>
#include <iostream>

#include <tolvane/tolvane.h>

int main() {
    using namespace tolvane;

    fixed_log log;
    // Coefficients below 2 need one bit before the point. a0 is 1.
    fixed_scalar b0("s16,14", "b"), b1("s16,14", "b"), b2("s16,14", "b"), a1("s16,14", "a"), a2("s16,14", "a");
    b0 = 0.0201, b1 = 0.0402, b2 = 0.0201, a1 = -1.5610, a2 = 0.6414;

    fixed_scalar x("s16,15", "x"), x1("s16,15", "x"), x2("s16,15", "x");
    fixed_scalar y("s16,15 convergent", "y"), y1("s16,15", "y1"), y2("s16,15", "y1");
    fixed_scalar sum("s32,28 floor wrap", "sum");
    for (int n = 0; n < 1000; ++n) {
        x = n < 500 ? 0.9 : 0.0;  // a step up and down
        sum = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
        y = sum;
        x2 = x1, x1 = x, y2 = y1, y1 = y;
        if (n % 100 == 99) {
            std::cout << "y[" << n << "] = " << y.word() << " / 2^15\n";
        }
    }
    std::cout << '\n' << log.report();
}
