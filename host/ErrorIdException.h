// The one exception of the system: an identifier such as "fixedpoint:fi:dimagree" and a message for the user.
//
// It belongs to the host's object-model family and is thrown by pointer, allocated on the heap; the catcher owns the
// pointer and deletes it. It is defined here as a whole, so that a library can throw it without the host's; the host's
// library exports its members all the same.
#pragma once

#include <string>
#include <utility>

#include "host/export.h"

#ifdef TOLVANE_HOST_BUILDING
#define TOLVANE_HOST_KEPT [[gnu::used, gnu::visibility("default")]]
#else
#define TOLVANE_HOST_KEPT
#endif

class TOLVANE_HOST_API ErrorIdException {
 public:
    TOLVANE_HOST_KEPT ErrorIdException(std::string id, std::string message)
        : mId(std::move(id)), mMessage(std::move(message)) {}
    TOLVANE_HOST_KEPT virtual ~ErrorIdException() {}

    const char* getId() const { return mId.c_str(); }
    const char* getMessage() const { return mMessage.c_str(); }

 private:
    std::string mId;
    std::string mMessage;
};

/// Throws a new ErrorIdException by pointer.
[[noreturn]] TOLVANE_HOST_API void raiseError(std::string id, std::string message);
