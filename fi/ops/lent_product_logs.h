// The logs of an operand that does the work of an operation for the other one.
#pragma once

#include "fi/fi.h"

/// Remembers the logs of the worker's product register and of the sum register in it, both of which must be there.
class lentproductlogs {
 public:
    explicit lentproductlogs(const fi& worker)
        : mWorker(worker), mProduct(worker.getproductQlogger(), false), mSum(worker.getproductregsumQlogger(), false) {}

    /// Hands what the worker has logged to the registers of the owner; the worker's logs become what they were.
    void handTo(const fi& owner) const {
        owner.getproductQlogger().set(mWorker.getproductQlogger());
        owner.getproductregsumQlogger().set(mWorker.getproductregsumQlogger());
        mWorker.getproductQlogger().set(mProduct);
        mWorker.getproductregsumQlogger().set(mSum);
    }

 private:
    const fi& mWorker;
    qlogger mProduct;
    qlogger mSum;
};
