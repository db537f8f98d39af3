// Short forms of a host user's commands: arrays of a type, rules, and the outcome of an action.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "host/om.h"
#include "host/reference/Session.h"
#include "tests/support/own_process.h"
#include "tests/support/thrown.h"

using hostref::HostError;
using hostref::Session;
using hostref::Value;
using hostref::Warning;

class BindingTest : public testing::Test {
 protected:
    using Settings = std::vector<std::pair<const char*, Value>>;

    /// An object of a class, with some properties set.
    Value made(const char* className, const Settings& settings) {
        const Value object = session.construct(className);
        for (const auto& [property, value] : settings) {
            object.set(property, value);
        }
        return object;
    }
    Value type(bool isSigned, int wordLength, int fractionLength) {
        return made("embedded.numerictype",
                    {{"SignednessBool", isSigned}, {"WordLength", wordLength}, {"FractionLength", fractionLength}});
    }
    Value type(const char* mode) { return made("embedded.numerictype", {{"DataTypeMode", mode}}); }
    Value rules(const Settings& settings) { return made("embedded.fimath", settings); }
    Value fi(const Value& value, const Value& type) { return session.construct("embedded.fi", {value, type}); }
    Value fi(const Value& value, const Value& type, const Value& third) {
        return session.construct("embedded.fi", {value, type, third});
    }
    Value s16(const Value& value) { return fi(value, type(true, 16, 15)); }

    static std::vector<double> valuesOf(const Value& object) { return object.get("double").toDoubles(); }
    /// Such as "s16,15", "double" or "Scaled double: ...".
    static std::string typeOf(const Value& object) {
        const Value type = object.get("numerictype");
        const std::string mode = type.get("DataTypeModeNoWarning").toText();
        if (mode != "Fixed-point: binary point scaling") {
            return mode;
        }
        return (type.get("SignednessBool").toBool() ? "s" : "u") + std::to_string(integer(type.get("WordLength"))) +
               "," + std::to_string(integer(type.get("FractionLength")));
    }
    static long integer(const Value& value) { return static_cast<long>(value.toDouble()); }

    /// Writes as the internal client, regardless of users' access.
    static void setInternally(const Value& object, const char* name, const void* value) {
        object.interface()->getClass()->getProperty(name)->setValue(OMDatabaseClient::getInternalClient(),
                                                                    object.interface(), value);
    }
    /// After each test it is off again and the global rules have their factory values.
    void logging(bool isOn) { session.callStatic("embedded.qlogger", "SetLoggingMode", {isOn}); }

    /// The first lines of the session's totals, with logging on.
    std::string assignmentTotals(const Value& object) {
        session.call(0, "displaygloballog", {object});
        const std::string printed = session.takePrinted();
        return printed.substr(0, printed.find("FI sum"));
    }

    void TearDown() override {
        logging(false);
        session.callStatic("embedded.fimath", "ResetGlobalFimath");
        session.takeWarnings();
    }

    Session session{TOLVANE_MODULE, "tolvane"};
};
