// The class "embedded.fi": its constructors, and its properties and methods in the order in which they are registered.
//
// The code of each property or method is named in its row: properties.cpp, methods.cpp.
#pragma once

#include <array>

#include "binding/frame/SingletonOMClass.h"
#include "fi/fi.h"

class FiOMClass : public tolvane::detail::ObjectOMClass<FiOMClass, fi> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{
        .name = "fi", .flagA = tolvane::detail::ClassFlag::No, .flagB = tolvane::detail::ClassFlag::Yes};

    /// Always raises "fixedpoint:fi:FiOMClass:InvalidConstructor".
    FiOMClass(const void* first, const void* second, const void* third, const void* fourth);

    using OMClass::createClassSpecificObject;
    /// Makes a `fi` from host arrays: none; a value; a value and a type; a value, a type, and rules or a flag for local
    /// rules. Raises "fixedpoint:fi:nargchk:tooManyInputs" and the errors of the parts.
    OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count) override;
    /// Lets certain functions of the host's language be called with a `fi` as any argument.
    void respondToMethodAddedFromVELMAR(OMMethodInfo* method) override;

    /// Sets the type like the property "numerictype".
    static void setNumericType(fi& object, const EmbeddedTypeSystem::NumericType& type);

 private:
    friend SingletonOMClass;
    FiOMClass() = default;
    void fill();

    /// Indexed by number of arguments.
    std::array<OMMethodSignature*, 4> mConstructors{};
};
