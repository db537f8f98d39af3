// The requesting client: a user of the host (external) or the system's own code (internal).
#pragma once

#include "host/export.h"

class TOLVANE_HOST_API OMDatabaseClient {
 public:
    OMDatabaseClient(const OMDatabaseClient&) = delete;
    OMDatabaseClient& operator=(const OMDatabaseClient&) = delete;

    static OMDatabaseClient* getInternalClient();
    static OMDatabaseClient* getExternalClient();
    bool isInternal() const { return mIsInternal; }

 private:
    explicit OMDatabaseClient(bool isInternal) : mIsInternal(isInternal) {}
    bool mIsInternal;
};
