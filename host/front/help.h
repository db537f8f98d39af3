// What the classes offer, as text: their properties and methods from the records, each with a sentence on what it does.
//
//     session.call(0, "help");                  // prints all classes
//     session.call(0, "help", {a});             // all of the class of an object, or of a class by its name
//     session.call(0, "help", {a, "plus"});     // one property or method
//     session.call(0, "methods", {a});          // the methods with the types of arguments and results
//     session.call(0, "properties", {a});       // the properties with their values and access
//
// Each prints if no result is requested, and otherwise returns the text. The pages of the reference are made from the
// same structures.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/front/shape.h"

namespace front {

/// A property or a method of a class.
struct Member {
    std::string name;
    std::string owner;  // the class that has it, such as "embedded.type" for a class derived from it
    /// Of a method, each way to call it: "plus(fi, array) -> fi". Of a property, its values and its access.
    std::vector<std::string> forms;
    std::string description;
};

struct ClassHelp {
    std::string name;
    std::string parent;  // empty if there is none
    std::string description;
    std::vector<std::string> forms;  // the ways to construct an object, none for a class without
    std::vector<Member> properties;  // with those of ancestors, in the order of the records
    std::vector<Member> methods;
};

/// The full names of the classes of a module's package, in the order in which they were made.
std::vector<std::string> classNames();
/// Of a class by its full name or the short one. Throws "VELMAR:class:unknown".
ClassHelp classHelp(std::string_view className);

/// As the functions of these names print. `member` is a property or a method, or empty for all; throws
/// "VELMAR:help:unknownName" for another name.
std::string helpText();
std::string helpText(const ClassHelp& help, std::string_view member = {});
std::string methodsText(const ClassHelp& help);
std::string propertiesText(const ClassHelp& help);

/// The classes and members that have a description, by short name of the class (empty for what several classes share)
/// and name of the member (empty for the class itself).
std::vector<std::pair<std::string, std::string>> describedNames();
/// Looks up a description by the short name of the class; empty if there is none.
std::string_view descriptionOf(std::string_view className, std::string_view member);

}  // namespace front
