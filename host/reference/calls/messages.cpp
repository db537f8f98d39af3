// The host's standard errors, its formatted errors and warnings (hv and hsc families) and its printing.
#include <cstdarg>
#include <string>

#include "host/ErrorIdException.h"
#include "host/hsc.h"
#include "host/hv.h"
#include "host/reference/calls/format.h"

namespace {

struct StandardError {
    int number;
    const char* id;
    const char* message;
};
constexpr StandardError kStandardErrors[] = {
    {1, "VELMAR:tooManyInputs", "Too many input arguments."},
    {2, "VELMAR:notEnoughInputs", "Not enough input arguments."},
    {3, "VELMAR:tooManyOutputs", "Too many output arguments."},
    {73, "VELMAR:badsubscript", "An index must be a whole number that fits in 64 bits."},
};

std::string textOrEmpty(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

}  // namespace

void hvErrMsg(int number) {
    for (const StandardError& error : kStandardErrors) {
        if (error.number == number) {
            raiseError(error.id, error.message);
        }
    }
    raiseError("VELMAR:unknownError", "Unknown error " + std::to_string(number) + ".");
}

void hvErrMsgIdAndTxt(const char* id, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = hostref::formatText(format, arguments);
    va_end(arguments);
    raiseError(textOrEmpty(id), std::move(text));
}

void hscErrMsgIdAndTxt(const char* id, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    std::string text = hostref::formatText(format, arguments);
    va_end(arguments);
    raiseError(textOrEmpty(id), std::move(text));
}

void hvWarningMsgIdAndTxt(const char* id, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = hostref::formatText(format, arguments);
    va_end(arguments);
    hostref::warn(textOrEmpty(id), text);
}

void hscWarnMsgIdAndTxt(const char* id, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = hostref::formatText(format, arguments);
    va_end(arguments);
    hostref::warn(textOrEmpty(id), text);
}

void hscWarnMsgTxt(const char* text) {
    hostref::warn({}, textOrEmpty(text));
}

int hscPrintf(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string text = hostref::formatText(format, arguments);
    va_end(arguments);
    hostref::print(text);
    return static_cast<int>(text.size());
}
