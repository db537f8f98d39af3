// The class "embedded.filog". Its type can be read like that of an array, but only the system writes it; the log map is
// read and cleared without an object.
#pragma once

#include "binding/frame/SingletonOMClass.h"
#include "logging/filog.h"

class filogOMClass : public tolvane::detail::ObjectOMClass<filogOMClass, filog> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "filog", .flagA = tolvane::detail::ClassFlag::No};

    using OMClass::createClassSpecificObject;
    /// Makes an empty record of the default type. Raises "fixedpoint:filog:nargchk:tooManyInputs".
    OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count) override;

 private:
    friend SingletonOMClass;
    filogOMClass() = default;
    void fill();
};
