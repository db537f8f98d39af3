// Arrays as the host sees them: handles of class "fi", and host arrays of their real-world values.
#include <algorithm>
#include <vector>

#include "descriptors/host_object.h"
#include "fi/fi.h"
#include "host/ErrorIdException.h"
#include "host/OMInterface.h"
#include "host/OMInterfaceType.h"
#include "host/OMTypeRepository.h"

namespace {

/// The data type of the class, which is there once the class is in the package; null before.
const OMDataType* handleType() {
    return OMTypeRepository::getType(fi::getVelmarPackageClassName(), true);
}

}  // namespace

fi* fi::getObjFromPrhs(void* handle) {
    return static_cast<fi*>(static_cast<OMInterface*>(handle)->getObject());
}

fi& fi::getFiFromHvArray(const hvArray* value) {
    fi* const object = objectInside<fi>(value);
    if (object == nullptr) {
        raiseError("fixedpoint:fi:mustBeFi", "This parameter must be a fi.");
    }
    return *object;
}

hvArray* fi::convertToVelmarArray(OMInterface* handle) {
    return omdtConvertToVelmar(handleType(), handle);
}

hvArray* fi::convertToExternalVelmarArray(std::unique_ptr<fi> object) {
    return hostValueAround(std::move(object), HandleOwner::workspace);
}

hvArray* fi::getDoubleHvArray() const {
    const std::vector<std::size_t> dims(mDims.begin(), mDims.end());
    hvArrayOwner result(hvCreateNumericArray(dims.size(), dims.data(), hvDOUBLE_CLASS, getComplexity()));
    const auto convert = [this](const number& entries, double* values) {
        if (const doublenumber* doubles = entries.asDouble()) {
            const auto stored = doubles->elements();
            if (!isSlopeBiasScaled()) {
                std::ranges::copy(stored, values);
            } else {
                std::ranges::transform(stored, values, [this](double x) { return addSlopeAdjustmentFactorBias(x); });
            }
            return;
        }
        const std::uint64_t cursor = entries.getIndex();
        for (std::uint64_t i = 0; i < mNumel; ++i) {
            values[i] = addSlopeAdjustmentFactorBias(entries[i].todouble());
        }
        entries.setIndex(cursor);
    };
    if (mNumel != 0) {
        convert(mReal, hvGetPr(result.get()));
        if (iscomplex()) {
            convert(mImag, hvGetPi(result.get()));
        }
    }
    return result.release();
}
