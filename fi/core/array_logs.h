// The logs of an array and of its registers.
#pragma once

#include "fi/fi.h"
#include "logging/qlogger.h"

/// Null for a register that doesn't exist.
struct fi::Logs {
    explicit Logs(const fi& owner)
        : own(&owner.getQlogger()),
          product(owner.productRegister() ? &owner.getproductQlogger() : nullptr),
          productSum(owner.mProductRegister && owner.mProductRegister->mSumRegister ? &owner.getproductregsumQlogger()
                                                                                    : nullptr),
          sum(owner.mSumRegister ? &owner.getsumQlogger() : nullptr) {}

    static bool hasSeenValues(const qlogger* log) { return log != nullptr && !log->isreset(); }

    const qlogger* own;
    const qlogger* product;
    const qlogger* productSum;
    const qlogger* sum;
};
