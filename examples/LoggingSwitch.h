// Switches logging on for its lifetime, in the given session. Logging is a switch of the library: it applies to every
// array of every session.
#pragma once

#include "host/reference/Session.h"

class LoggingSwitch {
 public:
    explicit LoggingSwitch(hostref::Session& session) : mSession(session) { write(true); }
    ~LoggingSwitch() { write(false); }
    LoggingSwitch(const LoggingSwitch&) = delete;
    LoggingSwitch& operator=(const LoggingSwitch&) = delete;

 private:
    void write(bool isOn) { mSession.callStatic("embedded.qlogger", "SetLoggingMode", {isOn}); }

    hostref::Session& mSession;
};
