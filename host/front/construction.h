// Arrays, types and rules made in one line, with what a user has to say about them.
//
//     front::fi(session, 3.14);                                      // signed, 16 bits, the best precision for it
//     front::fi(session, 3.14, true, 8, 4);                          // a sign, a word length, a fraction length
//     front::fi(session, 3.14, {{"WordLength", 8}, {"RoundMode", "floor"}});
//     front::fiWith(session, {{"WordLength", 8}, {"FractionLength", 7}, {"hex", "7f 80"}});
//
// A setting is a property of "numerictype", of "fimath", or of the array itself: "data", "int", "hex" and its other
// forms, "numerictype" and "fimath" as a whole, "Tag". Names are those of the classes and are compared exactly;
// settings act in their order, save that what the elements of a `fi` overflow is told under the tag. Without a scaling
// the best precision for the values is taken; that of words up to 52 bits only for values that doubles hold. With
// rules, or a setting of them, the array has rules of its own, which begin as the global ones; without, it has those of
// a `fi` that it is made of, else none: then numbers are rounded to the nearest and saturated, and the elements of a
// `fi` go by the global rules.
//
// An error makes nothing. Besides what the classes raise: "fixedpoint:fi:constructor:unknownProperty", and
// "fixedpoint:fi:constructor:refusedSetting" for one that is refused, which a type tells as a warning only.
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

/// Makes an array of a host array of numbers or of the elements of a `fi`, whose type it takes unless told otherwise.
Value fi(Session& session, const Value& values, const Settings& settings = {});
Value fi(Session& session, const Value& values, bool isSigned, int wordLength, int fractionLength,
         const Settings& settings = {});
/// Makes an array of what its settings tell; of words ("hex", "int", ...) only with a scaling, else
/// "fixedpoint:fi:constructor:scalingNeeded".
Value fiWith(Session& session, const Settings& settings);
/// Makes an array as the function "fi" does of a list of arguments: values; a `numerictype`, or a sign and as many as
/// are known of a word length and a fraction length, a slope and a bias, or a slope adjustment factor, a fixed exponent
/// and a bias; rules; names and values of settings. Throws "fixedpoint:fi:constructor:badArgument" and
/// "fixedpoint:fi:constructor:pairIncomplete".
Value fiOf(Session& session, std::span<const Value> arguments);

/// Make a type, and rules, by settings.
Value numerictype(Session& session, const Settings& settings);
Value fimath(Session& session, const Settings& settings);

}  // namespace front
