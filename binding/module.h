// What the host finds in libtolvane.so: the entry points by which it starts and stops the module, and asks for its
// free-standing functions, of which there are none: everything is reached through the classes of the package
// "embedded".
//
// Start builds all class records before it fills the first, since filling one looks up the types of others by name. An
// error of a start goes on to the host and leaves what was built; the next call goes on from there. Start and stop work
// once; a stop before the first start uses up the stop. All of it runs on the host's main thread.
#pragma once

#include <cstdint>

#include "host/export.h"

/// The table of free-standing functions in the host's form; all zeros.
struct VLFunctionList {
    std::uint64_t words[4];
};

/// How the host finds that table: its address, two stamp words by which it knows the form, and a zero.
struct VLFunctionTable {
    const VLFunctionList* functions;
    std::uint64_t stamps[2];
    std::uint64_t end;
};

extern "C" {
/// Builds and fills the package and registers the feature switches.
TOLVANE_API void VLInitialize_tolvane();
/// Gives the package back to the host, which ends its classes when their last objects go.
TOLVANE_API void VLTerminate_tolvane();
/// Both return the same address at any time.
TOLVANE_API const VLFunctionTable* QueryVLFcnTable_tolvane();
TOLVANE_API const VLFunctionList* QueryVLFcns_tolvane();
}

/// The older way of entering the classes, for hosts that do it in two steps. Each step works once. A start afterwards
/// fills what is missing, which is the class "filog" that these leave out.
class TOLVANE_API Tolvane {
 public:
    Tolvane() = delete;

    /// Builds the records of six classes without filling them.
    static void declareOMClasses();
    /// Declares the classes if that is left to do, and fills them.
    static void registerOMClasses();
};
