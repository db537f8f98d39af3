#include "fi/fi.h"
#include "host/hv.h"

hvArray* fi::sign() const {
    hvArrayOwner result(hvCreateNumericArray(mDims.size(), mDims.data(), hvINT8_CLASS));
    storeSigns(hvGetTypedData<std::int8_t>(result.get()));
    return result.release();
}
