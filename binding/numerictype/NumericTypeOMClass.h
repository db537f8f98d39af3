// The class "embedded.numerictype".
#pragma once

#include "binding/frame/SingletonOMClass.h"
#include "descriptors/NumericType.h"

class NumericTypeOMClass : public tolvane::detail::ObjectOMClass<NumericTypeOMClass, EmbeddedTypeSystem::NumericType> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "numerictype",
                                                    .flagA = tolvane::detail::ClassFlag::No,
                                                    .flagB = tolvane::detail::ClassFlag::Yes,
                                                    .loadsLorimer = true};

    using OMClass::createClassSpecificObject;
    /// Makes the default type. Raises "fixedpoint:numerictype:nargchk:tooManyInputs".
    OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count) override;
    /// Lets "abs" of the host's language be called with a type as any argument, and "loadobj" without an object.
    void respondToMethodAddedFromVELMAR(OMMethodInfo* method) override;

 private:
    friend SingletonOMClass;
    NumericTypeOMClass() = default;
    void fill();
    void fillFiMethods();
};
