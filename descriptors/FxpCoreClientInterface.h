// The call-back interface of the generic fixed-point core: reports of the core while it runs, and its one query, for
// the target hardware of the code.
//
// The two handlers of scaled doubles do nothing unless a client overrides them; a scaled double can exceed the range of
// the fixed-point type it represents without an overflow.
#pragma once

#include "host/export.h"

class fxpProdHardware;

class TOLVANE_API FxpCoreClientInterface {
 public:
    virtual ~FxpCoreClientInterface() = default;

    virtual void handleOverflow() = 0;
    virtual void handleUnderflow() = 0;
    virtual void handlePrecisionLoss() = 0;
    virtual void handleDivisionByZero() = 0;
    virtual void handleUnsupportedType() = 0;
    virtual void handleScaledDoublePotentialOverflow() {}
    virtual void handleScaledDoublePotentialUnderflow() {}
    /// Returns the target hardware, which the client owns; may be null.
    virtual fxpProdHardware* getProdHardware() const = 0;

 protected:
    FxpCoreClientInterface() = default;
    FxpCoreClientInterface(const FxpCoreClientInterface&) = default;
    FxpCoreClientInterface& operator=(const FxpCoreClientInterface&) = default;
};
