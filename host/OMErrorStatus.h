// The errors that an operation collected instead of raising them.
#pragma once

#include <string>
#include <vector>

#include "host/export.h"

class TOLVANE_HOST_API OMErrorStatus {
 public:
    class Error {
     public:
        Error(std::string id, std::string message);
        const char* getId() const { return mId.c_str(); }
        /// Returns the message, valid until the status changes.
        const char* getTempStaticMessage() const { return mMessage.c_str(); }

     private:
        std::string mId;
        std::string mMessage;
    };

    void addError(std::string id, std::string message);
    int getNumberOfErrors() const { return static_cast<int>(mErrors.size()); }
    /// Returns the error added last, valid until the status changes; null if there is none.
    const Error* getLastError() const { return mErrors.empty() ? nullptr : &mErrors.back(); }

    /// Runs the action and records any exception as an error. Returns true if there was none.
    template <class Action>
    bool collect(Action&& action) {
        try {
            action();
        } catch (...) {
            addCaught();
            return false;
        }
        return true;
    }

 private:
    /// Adds the exception being handled, and frees an ErrorIdException.
    void addCaught();
    std::vector<Error> mErrors;
};
