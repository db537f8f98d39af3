// The logs of an operand whose registers do the work of an operation for the other one.
#pragma once

#include "fi/fi.h"

namespace tolvane::detail {

/// Remembers the logs of the worker's product register and of the sum register in it, both of which must exist.
class lentproductlogs {
 public:
    explicit lentproductlogs(const fi& worker)
        : mWorker(worker), mProduct(worker.getproductQlogger(), false), mSum(worker.getproductregsumQlogger(), false) {}

    /// Transfers the worker's logs to the registers of the owner and restores the worker's previous logs.
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

}  // namespace tolvane::detail
