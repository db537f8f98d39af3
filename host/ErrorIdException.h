// The one exception of the system: an identifier such as "fixedpoint:fi:dimagree" and a message for the user.
//
// It belongs to the host's object-model family and is thrown by pointer, allocated on the heap; the catcher owns the
// pointer and deletes it. This project throws it only through `raiseError`.
#pragma once

#include <string>

#include "host/export.h"

class TOLVANE_HOST_API ErrorIdException {
 public:
    ErrorIdException(std::string id, std::string message);
    virtual ~ErrorIdException();

    const char* getId() const { return mId.c_str(); }
    const char* getMessage() const { return mMessage.c_str(); }

 private:
    std::string mId;
    std::string mMessage;
};

/// Throws a new ErrorIdException by pointer.
[[noreturn]] TOLVANE_HOST_API void raiseError(std::string id, std::string message);
