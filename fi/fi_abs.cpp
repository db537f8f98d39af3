// Magnitudes.
#include "fi/fi.h"

void fi::abs(number& out) const {
    if (isreal()) {
        out.abs(mReal);
    } else {
        out.hypot(mReal, imag());
    }
}
