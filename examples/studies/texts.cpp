#include "examples/studies/texts.h"

#include <cmath>

namespace study {

std::string ratioText(double snrDb) {
    if (std::isinf(snrDb) && snrDb > 0) {
        return "exact";
    }
    return formatted("%.1f", snrDb);
}

std::string valueText(double value) {
    const double magnitude = std::fabs(value);
    if (magnitude == 0.0) {
        value = 0.0;  // a negative zero would only puzzle
    }
    return formatted(magnitude == 0.0 || (magnitude >= 1e-4 && magnitude < 1e5) ? "%.6f" : "%.3e", value);
}

std::string ratioWithUnit(double snrDb) {
    return std::isinf(snrDb) && snrDb > 0 ? ratioText(snrDb) : ratioText(snrDb) + " dB";
}

}  // namespace study
