#include "binding/frame/enum_columns.h"

#include "host/hsc.h"

namespace tolvane::detail {

void warnOfDataTypeMode(const PropertyCall& call) {
    if (!call.client->isInternal() && embedded::getFeatureFiWarnForDataTypeMode()) {
        hscWarnMsgIdAndTxt(
            "fi:getdatatypemode", "%s",
            "The values returned by the DataTypeMode property have changed to be consistent with Dravelin.NumericType "
            "('Double', 'Single', 'Boolean').  Update any places in your code where you are comparing the DataTypeMode "
            "against 'double', 'single', or 'boolean'.\n"
            "To avoid this warning without disabling it, use other properties or methods (e.g., isdouble, issingle, "
            "isboolean) instead of accessing the DataTypeMode.");
    }
}

}  // namespace tolvane::detail
