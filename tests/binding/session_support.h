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
using Numbers = std::vector<double>;
using Values = std::vector<Value>;

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
    long count(const char* counter, const Value& object) { return integer(session.call(counter, {object})); }
    Numbers sizeOf(const Value& object) { return session.call("size", {object}).toDoubles(); }

    /// In steps of 1.5 from 1 on, in 8 bits.
    Value steps(double value) {
        return fi(value, made("embedded.numerictype", {{"DataTypeMode", "Fixed-point: slope and bias scaling"},
                                                       {"WordLength", 8},
                                                       {"Slope", 1.5},
                                                       {"Bias", 1.0}}));
    }
    Value s8(const Value& value) { return fi(value, type(true, 8, 0)); }
    static Value matrix(std::size_t rows, const Numbers& values) {
        return Value::matrix(rows, values.size() / rows, values);
    }
    template <class T>
    static Value columnOf(const std::vector<T>& values) {
        hvArrayOwner made(hvCreateNumericMatrix(values.size(), 1, hvClassOf<T>));
        std::ranges::copy(values, hvGetTypedData<T>(made.get()).begin());
        return Value(std::move(made));
    }

    /// The error of a call, or its id alone.
    Raised refusal(const std::string& method, const Values& arguments, int resultCount = 1) {
        return thrownBy([&] { session.call(resultCount, method, arguments); });
    }
    Raised makingRefusal(const std::string& className, const Values& arguments = {}) {
        return thrownBy([&] { session.construct(className, arguments); });
    }
    Raised staticRefusal(const std::string& className, const std::string& method, const Values& arguments) {
        return thrownBy([&] { session.callStatic(className, method, arguments); });
    }
    std::string idOf(const std::string& method, const Values& arguments, int resultCount = 1) {
        return refusal(method, arguments, resultCount).id;
    }
    /// The warnings since the last look, such as "2 sum overflows in +, 1 underflow in +"; others by id.
    std::string reports() {
        std::string reported;
        for (const Warning& warning : session.takeWarnings()) {
            const std::size_t middle = warning.text.find(" occurred in the fi ");
            const std::string kind = warning.text.substr(0, middle);
            reported += reported.empty() ? "" : ", ";
            if (middle == std::string::npos || !warning.text.ends_with(" operation.") ||
                warning.id != (kind.find("underflow") == std::string::npos ? "fi:overflow" : "fi:underflow")) {
                reported += warning.id;
            } else {
                reported += kind + " in " + warning.text.substr(middle + 20, warning.text.size() - middle - 31);
            }
        }
        return reported;
    }

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
