// The entry points of libtolvane.so for the host: to start and stop the module, and to query its free-standing
// functions. There are none: everything is reached through the classes of the package "embedded".
//
// Start builds all class records before it fills the first, since filling one looks up the types of others by name. An
// error during a start propagates to the host and keeps what was built; the next call continues from there. Start and
// stop each work once, and a stop before the first start counts as the one stop. All of it runs on the host's main
// thread.
#pragma once

#include <cstdint>

#include "host/export.h"

/// The table of free-standing functions in the host's form; all zeros.
struct VLFunctionList {
    std::uint64_t words[4];
};

/// How the host finds that table: its address, two stamp words that identify the form, and a zero.
struct VLFunctionTable {
    const VLFunctionList* functions;
    std::uint64_t stamps[2];
    std::uint64_t end;
};

extern "C" {
/// Builds and fills the package and registers the feature switches.
TOLVANE_API void VLInitialize_tolvane();
/// Returns the package to the host, which destroys its classes with their last objects.
TOLVANE_API void VLTerminate_tolvane();
/// Both always return the same address.
TOLVANE_API const VLFunctionTable* QueryVLFcnTable_tolvane();
TOLVANE_API const VLFunctionList* QueryVLFcns_tolvane();
}

/// The older way of registering the classes, for hosts that do it in two steps. Each step works once. A start
/// afterwards adds what is missing, such as the class "filog", which these steps omit.
class TOLVANE_API Tolvane {
 public:
    Tolvane() = delete;

    /// Builds the records of six classes without filling them.
    static void declareOMClasses();
    /// Declares the classes if that hasn't been done, and fills them.
    static void registerOMClasses();
};
