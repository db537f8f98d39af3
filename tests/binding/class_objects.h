// Objects of every class in the states in which they behave differently, and values of every type of a property.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

#include "tests/binding/session_support.h"

/// The classes that have states; types beside them have tests of their own.
inline constexpr const char* classes[] = {"numerictype", "quantizer", "fimath", "globalfimath",
                                          "fi",          "qlogger",   "filog"};

template <class T>
Value row(const std::vector<T>& elements) {
    hvArrayOwner made(hvCreateNumericMatrix(1, elements.size(), hvClassOf<T>));
    std::ranges::copy(elements, hvGetTypedData<T>(made.get()).begin());
    return Value(std::move(made));
}

/// One step of an access path.
inline Value path(const Value& type, const Values& subscripts) {
    const char* const fields[] = {"type", "subs"};
    hvArrayOwner made(hvCreateStructMatrix(1, 1, 2, fields));
    hvSetField(made.get(), 0, "type", type.toArray().release());
    hvSetField(made.get(), 0, "subs", Value::cells(subscripts).toArray().release());
    return Value(std::move(made));
}

class ObjectsOfClasses : public BindingTest {
 protected:
    Value slopeBias(const char* mode, bool isSigned) {
        return made("embedded.numerictype",
                    {{"DataTypeMode", mode}, {"SignednessBool", isSigned}, {"Slope", 0.1875}, {"Bias", 2}});
    }
    Value quantizer(const char* mode, const Numbers& format) {
        return made("embedded.quantizer", {{"mode", mode}, {"format", format}});
    }

    // clang-format off
    /// New objects of a class in the states in which they behave differently; the first is a plain one.
    Values objectsOf(const std::string& name) {
        constexpr char scaled[] = "Fixed-point: slope and bias scaling";
        const Numbers six = {0.5, -0.25, 1, 0, -1, 0.125};
        const std::span four(six.data(), 4);
        if (name == "embedded.fi") {
            const std::size_t sizes[] = {2, 1, 2};
            const Value other = rules({{"ProductMode", "SpecifyPrecision"},
                                       {"SumMode", "KeepMSB"}, {"CastBeforeSum", false}, {"OverflowMode", "wrap"}});
            return {s16(0.5), s16(six), s16(Value::matrix(2, 3, six)), s16(Value::matrix(2, 2, four)),
                    s16(Value::complex(0.5, -0.25)), fi(Value::matrix(4, 1, four), type(false, 9, 4), false),
                    fi(-3, type(true, 100, 40)), fi(six, type(false, 40, 8)), fi(7, type("Double"), false),
                    fi(six, type("Single")), fi(1, type("Boolean"), false), fi(1, type(true, 8, 3), other),
                    fi(0.5, type("Scaled double: binary point scaling")), fi(5.2, slopeBias(scaled, true)),
                    fi(six, slopeBias(scaled, false), false), session.construct(name),
                    s16(Value(hvArrayOwner(hvCreateNumericArray(3, sizes, hvDOUBLE_CLASS)))),
                    fi(Numbers{NAN, HUGE_VAL, 1, NAN, 0, -1}, type("Double"))};
        }
        if (name == "embedded.numerictype") {
            return {type(true, 16, 15), type(false, 16, 4), type(true, 100, 40), slopeBias(scaled, true),
                    type("Double"), type("Single"), type("Boolean"), type("Fixed-point: unspecified scaling"),
                    slopeBias("Scaled double: slope and bias scaling", false),
                    made(name.c_str(), {{"Signedness", "Auto"}})};
        }
        if (name == "embedded.fimath") {
            return {rules({}), rules({{"ProductMode", "KeepLSB"}, {"SumMode", "SpecifyPrecision"}}),
                    rules({{"SumSlope", 0.75}, {"ProductBias", 3}, {"RoundMode", "convergent"}})};
        }
        if (name == "embedded.quantizer") {
            return {session.construct(name),       quantizer("float", {16, 5}),       quantizer("ufixed", {70, 60}),
                    quantizer("double", {64, 11}), quantizer("single", {32, 8}),      quantizer("none", {16, 15}),
                    quantizer("boolean", {1, 0}),  quantizer("ScaledDouble", {16, 5})};
        }
        if (name == "embedded.qlogger") {
            return {session.construct(name), fi(5.2, slopeBias(scaled, true)).call("getqloggerstruct", {0})};
        }
        return {session.construct(name)};
    }

    /// Values of a data type, for the type "handle" objects of the class `of` and a stranger.
    Values valuesOf(const OMDataType* type, const std::string& of) {
        const std::string name = type->getName();
        if (const auto* const classType = dynamic_cast<const OMInterfaceType*>(type)) {
            Values objects = objectsOf(classType->getClass() == nullptr ? of : name);
            objects.insert(objects.end(), {Value(), classType->getClass() == nullptr ? s16(0.75) : Value()});
            return objects;
        }
        if (const auto* const enumeration = dynamic_cast<const EnumStringType*>(type)) {
            Values texts;
            std::ranges::transform(enumeration->getEntries(), std::back_inserter(texts), &EnumStringType::Entry::text);
            return texts;
        }
        using Limits = std::numeric_limits<std::int32_t>;
        const std::map<std::string, Values> others = {
            {"int32", {12, 3, 1, 0, -1, 200, Limits::max(), Limits::min()}},
            {"int", {12, Limits::max(), Limits::min()}},
            {"double", {1.5, 1, 2, 0, 3, -1, 0.5, 1e300, -1e10, 6e5, HUGE_VAL, NAN}},
            {"bool", {true, false}},
            {"string", {"7", "1.5", "x y", "2+", "1e99", "nan"}},
            {"real point", {Numbers{12, 5}, Numbers{1e300, -1}, Numbers{NAN, 3}}},
            {"VELMAR array",
             {Value(), 0, 1, 2, 3, -1, 16, 0.5, 1e300, -1e10, NAN, HUGE_VAL, true, false,
              "", "0101", "7f", "RoundMode", "floor", Numbers{1, 2}, Numbers{1, 6}, Numbers{6, 5, 4, 3, 2, 1},
              Value::matrix(2, 2, Numbers{0.5, 0.25, -1, 3}), Value::matrix(2, 3, Numbers{1, 0, 0, 1, 1, 0}),
              Value::matrix(3, 1, Numbers{1, 2, 3}), Value::matrix(0, 3, Numbers{}), Value::complex(1, -2),
              row<std::int16_t>({-3}), row<std::uint8_t>({1, 2, 3}), row<std::uint16_t>({9, 65535}),
              row<std::int32_t>({-5, 6}), row<std::uint32_t>({~0U, 1, 2, 3}), row<std::int64_t>({-7}),
              row<std::uint64_t>({~0ULL, 1}), row<float>({1.5F, -2}), Value::cells(Values{1, "x"}),
              path("()", {1}), s16(0.75)}}};
        return others.at(name);
    }
    // clang-format on
};
