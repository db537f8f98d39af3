// The class "embedded.fi": its constructors, and its properties and methods in the order in which they are registered.
//
// What a property or a method does stands in its row: properties.cpp, methods.cpp.
#pragma once

#include <array>

#include "binding/frame/SingletonOMClass.h"
#include "fi/fi.h"

class FiOMClass : public ObjectOMClass<FiOMClass, fi> {
 public:
    static constexpr ClassRow row{.name = "fi", .flagA = ClassFlag::No, .flagB = ClassFlag::Yes};

    /// Raises "fixedpoint:fi:FiOMClass:InvalidConstructor", which is all that it is for.
    FiOMClass(const void* first, const void* second, const void* third, const void* fourth);

    using OMClass::createClassSpecificObject;
    /// Makes a `fi` from host arrays: none; a value; a value and a type; a value, a type, and rules or a flag that says
    /// whether the object has rules of its own. Raises "fixedpoint:fi:nargchk:tooManyInputs" and what the parts raise.
    OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count) override;
    /// Lets certain functions of the host's language be called for a `fi` at any place.
    void respondToMethodAddedFromVELMAR(OMMethodInfo* method) override;

    /// As the property "numerictype" is set.
    static void setNumericType(fi& object, const EmbeddedTypeSystem::NumericType& type);

 private:
    friend SingletonOMClass;
    FiOMClass() = default;
    void fill();

    /// By number of arguments.
    std::array<OMMethodSignature*, 4> mConstructors{};
};
