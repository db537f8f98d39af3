#include "tests/witness/program.h"
const Kind kNumberPrograms = {"numbers", 0, [](Draw&, Transcript&) {}, [](SummaryLine) {}};
const Kind kDescriptionPrograms = {"descriptions", 0, [](Draw&, Transcript&) {}, [](SummaryLine) {}};
const Kind kSessionPrograms = {"sessions", 0, [](Draw&, Transcript&) {}, [](SummaryLine) {}};
