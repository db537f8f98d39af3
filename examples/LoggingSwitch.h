// Switches the library's logging on while it lives, in the session given.
//
// Logging is the host's to switch, not a user's: every array shows it as the property "Logging", which users only read.
// So this writes it as the host's own code does.
#pragma once

#include <cstdint>

#include "host/om.h"
#include "host/reference/Session.h"

class LoggingSwitch {
 public:
    explicit LoggingSwitch(hostref::Session& session) : mAny(session.construct("embedded.fi")) { write(1); }
    ~LoggingSwitch() { write(0); }
    LoggingSwitch(const LoggingSwitch&) = delete;
    LoggingSwitch& operator=(const LoggingSwitch&) = delete;

 private:
    void write(std::uint8_t isOn) {
        OMInterface* const any = mAny.interface();
        any->getClass()->getProperty("Logging")->setValue(OMDatabaseClient::getInternalClient(), any, &isOn);
    }

    hostref::Value mAny;
};
