// Collects printed text and warnings of a session's calls, before the listeners.
#pragma once

#include <string>

namespace hostref {

class OutputSink {
 public:
    virtual ~OutputSink() = default;
    virtual void warn(const std::string& id, const std::string& text) = 0;
    virtual void print(const std::string& text) = 0;
    /// Whether output also goes where it goes without a sink.
    virtual bool isEchoing() const = 0;
};

/// Sets the sink, null for none, and returns the one it replaces.
OutputSink* exchangeSink(OutputSink* sink) noexcept;

/// Returns whether the last printed text left its line open.
bool isLineOpen() noexcept;

}  // namespace hostref
