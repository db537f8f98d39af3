// Arrays as the host sees them: handles of class "fi", and host arrays of their real-world values.
#include <functional>
#include <memory>
#include <utility>

#include "descriptors/host_object.h"
#include "fi/fi.h"
#include "fi/host_arrays/host_view.h"
#include "host/ErrorIdException.h"
#include "host/OMInterface.h"
#include "host/OMInterfaceType.h"
#include "host/OMTypeRepository.h"

using namespace tolvane::detail;

namespace {

/// The data type of the class, which exists once the class is in the package; null before.
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

hvArray* fi::convertToInternalVelmarArray(std::unique_ptr<fi> object) {
    return hostValueAround(std::move(object), HandleOwner::value);
}

hvArray* fi::convertToExternalVelmarArray(std::unique_ptr<fi> object) {
    return hostValueAround(std::move(object), HandleOwner::workspace);
}

namespace {

/// The real-world values by a conversion from double.
template <class T, class Convert>
hvArray* realWorldView(const fi& array, hvClassID classId, Convert convert) {
    if (!array.isSlopeBiasScaled()) {
        return hostView<T>(array, classId, convert);
    }
    return hostView<T>(array, classId, [&](double x) { return convert(array.addSlopeAdjustmentFactorBias(x)); });
}

}  // namespace

hvArray* fi::getDoubleHvArray() const {
    if (isView()) {
        return detached()->getDoubleHvArray();
    }
    return realWorldView<double>(*this, hvDOUBLE_CLASS, std::identity());
}

hvArray* fi::getSingleHvArray() const {
    if (isView()) {
        return detached()->getSingleHvArray();
    }
    return realWorldView<float>(*this, hvSINGLE_CLASS, [](double x) { return static_cast<float>(x); });
}

hvArray* fi::getBooleanHvArray() const {
    if (isView()) {
        return detached()->getBooleanHvArray();
    }
    return realWorldView<hvLogical>(*this, hvLOGICAL_CLASS, [](double x) { return hvLogical{x != 0.0}; });
}
