// Arrays, types and rules made in one line, from arguments and settings.
//
//     front::fi(session, 3.14);                                      // signed, 16 bits, the best precision for it
//     front::fi(session, 3.14, true, 8, 4);                          // a sign, a word length, a fraction length
//     front::fi(session, 3.14, {{"WordLength", 8}, {"RoundMode", "floor"}});
//     front::fiWith(session, {{"WordLength", 8}, {"FractionLength", 7}, {"hex", "7f 80"}});
//
// A setting is a property of "numerictype", of "fimath", or of the array itself: "data", "int", "hex" and its other
// forms, "numerictype" and "fimath" as a whole, "Tag". Names are those of the classes and are compared exactly;
// settings take effect in their order, except that overflows of the elements of a `fi` are reported with the tag.
// Without a scaling, the best precision for the values is used; for words up to 52 bits, only if doubles hold the
// values. With rules, or a setting of them, the array has local rules, which start as the global ones. Without, it
// takes the local rules of a `fi` that it is made from, otherwise none: then numbers are rounded to nearest and
// saturated, and the elements of a `fi` follow the global rules.
//
// An error creates no object. In addition to the errors of the classes: "fixedpoint:fi:constructor:unknownProperty",
// and "fixedpoint:fi:constructor:refusedSetting" for a refused setting, for which a type only warns.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "host/front/shape.h"

namespace front {

struct Setting {
    std::string name;
    Value value;
};
using Settings = std::vector<Setting>;

/// Makes an array from a numeric host array or from the elements of a `fi`, whose type it takes unless specified
/// otherwise.
Value fi(Session& session, const Value& values, const Settings& settings = {});
Value fi(Session& session, const Value& values, bool isSigned, int wordLength, int fractionLength,
         const Settings& settings = {});
/// Makes an array from its settings; from words ("hex", "int", ...) only with a scaling, otherwise
/// "fixedpoint:fi:constructor:scalingNeeded".
Value fiWith(Session& session, const Settings& settings);
/// Makes an array from a list of arguments, as the function "fi": values; a `numerictype`, or a sign and, as far as
/// known, a word length and a fraction length, a word length, a slope and a bias, or a word length, a slope adjustment
/// factor, a fixed exponent and a bias; rules; names and values of settings. Throws
/// "fixedpoint:fi:constructor:badArgument" and "fixedpoint:fi:constructor:pairIncomplete".
Value fiOf(Session& session, std::span<const Value> arguments);

/// Make a type, and rules, from settings.
Value numerictype(Session& session, const Settings& settings);
Value fimath(Session& session, const Settings& settings);

}  // namespace front
