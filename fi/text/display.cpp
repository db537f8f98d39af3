// The display of an array: its values in the host's compact form, then its type, its rules and its tag.
#include "fi/fi.h"
#include "host/ho.h"
#include "host/hsc.h"

void fi::dispArray() const {
    const hvArrayOwner values(getDoubleHvArray());
    hoPrintMatrixCompact(values.get());
}

void fi::disp() const {
    if (isView()) {
        detached()->disp();
        return;
    }
    if (isempty()) {
        hscPrintf("     []\n");
    } else {
        dispArray();
    }
    hscPrintf("\n");
    getNumericType().disp();
    hscPrintf("\n");
    getFimath().disp();
    hscPrintf("\n");
    hscPrintf("\n                   Tag: %s", getTag().c_str());
}
