// Checks against host arrays.
#include <algorithm>

#include "fi/fi.h"
#include "numbers/errors.h"

using namespace tolvane::detail;

bool fi::isSameSize(const hvArray* other) const {
    return mNumel == hvGetNumberOfElements(other) && std::ranges::equal(mDims, hvGetDims(other));
}

void fi::checkElementwiseSize(const hvArray* other) const {
    if (!isSameSize(other)) {
        raiseDimensionsDisagree();
    }
}
