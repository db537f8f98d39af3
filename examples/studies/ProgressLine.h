// One line on a terminal that says what a study is doing. It is overwritten as the study goes on, and removed at its
// end, even if the study fails.
#pragma once

#include <iosfwd>
#include <string>

namespace study {

class ProgressLine {
 public:
    ProgressLine(std::ostream& err, bool isTerminal) : mErr(err), mIsTerminal(isTerminal) {}
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// Replaces the line.
    void show(const std::string& text);

 private:
    std::ostream& mErr;
    bool mIsTerminal;
    bool mIsShown = false;
};

}  // namespace study
