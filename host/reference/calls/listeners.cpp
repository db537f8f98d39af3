#include "host/reference/listeners.h"

#include <cstdio>
#include <map>
#include <utility>

#include "host/reference/calls/format.h"
#include "host/reference/calls/running_call.h"
#include "host/reference/calls/sink.h"
#include "host/reference/values/turn.h"

namespace hostref {

namespace {

constexpr const char* kAllWarnings = "all";

struct Listeners {
    WarningListener warning;
    PrintListener print;
    std::map<std::string, bool> switches{{kAllWarnings, true}};
    OutputSink* sink = nullptr;
    bool isLineOpen = false;
};

// Never destroyed: modules may warn while they are stopped at the end of the process.
Listeners& listeners() {
    static Listeners& instance = *new Listeners;
    return instance;
}

bool isWarningEnabled(const std::string& id) {
    const auto& switches = listeners().switches;
    const auto found = switches.find(id);
    return found != switches.end() ? found->second : switches.at(kAllWarnings);
}

}  // namespace

WarningListener setWarningListener(WarningListener listener) {
    const Turn turn;
    return std::exchange(listeners().warning, std::move(listener));
}

PrintListener setPrintListener(PrintListener listener) {
    const Turn turn;
    return std::exchange(listeners().print, std::move(listener));
}

bool setWarningEnabled(const std::string& id, bool enabled) {
    const Turn turn;
    const bool old = isWarningEnabled(id);
    listeners().switches[id] = enabled;
    return old;
}

OutputSink* exchangeSink(OutputSink* sink) noexcept {
    return std::exchange(listeners().sink, sink);
}

std::string formatText(const char* format, va_list arguments) {
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    if (length < 0) {
        return format;
    }
    std::string text(static_cast<std::size_t>(length), '\0');
    // The terminator overwrites the string's own.
    std::vsnprintf(text.data(), text.size() + 1, format, arguments);
    return text;
}

bool isLineOpen() noexcept {
    return listeners().isLineOpen;
}

void print(const std::string& text) {
    const Turn turn;
    if (!text.empty()) {
        listeners().isLineOpen = text.back() != '\n';
    }
    OutputSink* const sink = listeners().sink;
    if (sink != nullptr) {
        sink->print(text);
    }
    // A copy, because a listener may set another one.
    if (const PrintListener listener = listeners().print) {
        listener(text);
    } else if (sink == nullptr || sink->isEchoing()) {
        std::fwrite(text.data(), 1, text.size(), stdout);
    }
}

void warn(const std::string& id, const std::string& message) {
    const Turn turn;
    if (!isWarningEnabled(id)) {
        return;
    }
    // A count says little without its place; the class's own text stays complete in front.
    const bool isCount = id == "fi:overflow" || id == "fi:underflow";
    const std::string text = isCount ? message + RunningCall::tagLine() : message;
    OutputSink* const sink = listeners().sink;
    if (sink != nullptr) {
        sink->warn(id, text);
    }
    if (const WarningListener listener = listeners().warning) {
        listener(id, text);
    } else if (sink != nullptr && !sink->isEchoing()) {
        return;
    } else if (id.empty()) {
        std::fprintf(stderr, "Warning: %s\n", text.c_str());
    } else {
        std::fprintf(stderr, "Warning: %s [%s]\n", text.c_str(), id.c_str());
    }
}

}  // namespace hostref
