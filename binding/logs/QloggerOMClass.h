// The class "embedded.qlogger". It also has the two process-wide switches, which need no object.
#pragma once

#include "binding/frame/SingletonOMClass.h"
#include "logging/qlogger.h"

class QloggerOMClass : public tolvane::detail::ObjectOMClass<QloggerOMClass, qlogger> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "qlogger", .flagA = tolvane::detail::ClassFlag::No};

    using OMClass::createClassSpecificObject;
    /// Makes an empty log. Raises "fixedpoint:qlogger:nargchk:tooManyInputs".
    OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count) override;

 private:
    friend SingletonOMClass;
    QloggerOMClass() = default;
    void fill();
};
