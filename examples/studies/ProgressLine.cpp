#include "examples/studies/ProgressLine.h"

#include <ostream>

namespace study {

namespace {

// Back to the start of the line, and clear it.
constexpr const char* kClear = "\r\x1b[K";

}  // namespace

ProgressLine::~ProgressLine() {
    if (mIsShown) {
        mErr << kClear << std::flush;
    }
}

void ProgressLine::show(const std::string& text) {
    if (mIsTerminal) {
        mIsShown = true;
        mErr << kClear << text << std::flush;
    }
}

}  // namespace study
