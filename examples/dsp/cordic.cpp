// Sine and cosine by shifts and additions: a CORDIC of 16 turns in words of 18 bits.
#include <algorithm>
#include <cmath>
#include <iostream>
#include <numbers>

#include <tolvane/tolvane.h>

int main() {
    using namespace tolvane;
    constexpr int kTurns = 16;

    fixed_log log;
    const fixed_format word("s18,16 floor wrap");
    fixed_scalar x(word, "x"), y(word, "y"), rest(word, "rest"), turned(word, "x"), angle("s18,16", "angle");
    fixed_scalar start("s18,16", "start");
    double gain = 1;
    for (int i = 0; i < kTurns; ++i) {
        gain *= std::cos(std::atan(std::ldexp(1.0, -i)));
    }
    start = gain;

    double worst = 0;
    for (int degrees = -90; degrees <= 90; degrees += 5) {
        const double wanted = degrees * std::numbers::pi / 180;
        x = start, y = 0, rest = wanted;
        for (int i = 0; i < kTurns; ++i) {
            angle = std::atan(std::ldexp(1.0, -i));
            if (rest >= 0) {  // turn left
                turned = x - scaled(y, -i);
                y = y + scaled(x, -i);
                rest = rest - angle;
            } else {
                turned = x + scaled(y, -i);
                y = y - scaled(x, -i);
                rest = rest + angle;
            }
            x = turned;
        }
        worst =
            std::max({worst, std::abs(x.to_double() - std::cos(wanted)), std::abs(y.to_double() - std::sin(wanted))});
        if (degrees % 45 == 0) {
            std::cout << degrees << " degrees: cos " << x << ", sin " << y << '\n';
        }
    }
    std::cout << "off by at most " << worst * 0x1p16 << " units of the last place\n\n" << log.report();
}
