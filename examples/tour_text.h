// Prints values read from objects, for the tours.
#pragma once

#include <cstdio>
#include <exception>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "host/reference/HostError.h"
#include "host/reference/Value.h"

inline std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

/// "[0.5  -0.25]"
inline std::string numbers(const std::vector<double>& values) {
    std::string text;
    for (const double value : values) {
        text += (text.empty() ? "" : "  ") + number(value);
    }
    return "[" + text + "]";
}

/// As above, with a semicolon between rows.
inline std::string numbers(const hostref::Value& array) {
    const hostref::Value values = array.get("double");
    const std::vector<double> elements = values.toDoubles();
    std::string text;
    for (std::size_t row = 0; row < values.rows(); ++row) {
        text += row == 0 ? "" : " ; ";
        for (std::size_t column = 0; column < values.columns(); ++column) {
            text += (column == 0 ? "" : "  ") + number(elements[row + column * values.rows()]);
        }
    }
    return "[" + text + "]";
}

/// "signed, 16 bits, fraction length 15"
inline std::string typeOf(const hostref::Value& array) {
    const hostref::Value type = array.get("numerictype");
    return std::string(type.get("SignednessBool").toBool() ? "signed, " : "unsigned, ") +
           number(type.get("WordLength").toDouble()) + " bits, fraction length " +
           number(type.get("FractionLength").toDouble());
}

inline void show(const std::string& what, const std::string& is) {
    std::printf("  %-22s %s\n", what.c_str(), is.c_str());
}

/// Runs a tour; an error ends the program with a line that describes it.
inline int runTour(const char* name, const std::function<void()>& tour) {
    try {
        tour();
    } catch (const hostref::HostError& error) {
        std::cerr << name << ": " << error.id() << ": " << error.message() << '\n';
        return 1;
    } catch (const std::exception& error) {
        std::cerr << name << ": " << error.what() << '\n';
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
