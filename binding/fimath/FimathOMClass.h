// The classes "embedded.fimath" and "embedded.globalfimath". A handle of the latter wraps the global object itself: it
// sees every change, and destroying it frees nothing.
#pragma once

#include "binding/frame/SingletonOMClass.h"
#include "descriptors/fimath.h"

class FimathOMClass : public tolvane::detail::ObjectOMClass<FimathOMClass, fimath> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "fimath",
                                                    .flagA = tolvane::detail::ClassFlag::No,
                                                    .flagB = tolvane::detail::ClassFlag::Yes,
                                                    .loadsLorimer = true};

    using OMClass::createClassSpecificObject;
    /// Makes a copy of the global rules. Raises "fixedpoint:fimath:nargchk:tooManyInputs".
    OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count) override;
    /// Lets "abs" of the host's language be called with rules as any argument.
    void respondToMethodAddedFromVELMAR(OMMethodInfo* method) override;

 protected:
    friend SingletonOMClass;
    FimathOMClass() = default;
    void fill();
    void fillFiMethods();
};

class GlobalFimathOMClass : public tolvane::detail::SingletonOMClass<GlobalFimathOMClass, FimathOMClass> {
 public:
    static constexpr tolvane::detail::ClassRow kRow{.name = "globalfimath",
                                                    .flagA = tolvane::detail::ClassFlag::Yes,
                                                    .flagB = tolvane::detail::ClassFlag::Yes,
                                                    .loadsLorimer = true};

    using OMClass::createClassSpecificObject;
    /// Wraps the global object. Errors as those of FimathOMClass, with the same ids.
    OMInterface* createClassSpecificObject(OMInterface* interface, void** arguments, int count) override;
    void destroyObject(OMInterface* interface) override;

 private:
    friend tolvane::detail::SingletonOMClass<GlobalFimathOMClass, FimathOMClass>;
    GlobalFimathOMClass();
    void fill();
};
