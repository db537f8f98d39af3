#include "binding/TolvaneOMInterfaceRef.h"

#include <memory>
#include <utility>

#include "binding/fi/FiOMClass.h"
#include "binding/fimath/FimathOMClass.h"
#include "binding/frame/handles.h"
#include "binding/frame/shapes.h"
#include "binding/numerictype/NumericTypeOMClass.h"

using namespace tolvane::detail;

TolvaneOMInterfaceRef::TolvaneOMInterfaceRef(const TolvaneOMInterfaceRef& other) : mInterface(other.getReference()) {}

// Users of assignment rely on the missing count; see the file comment of the header.
// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): copying a pointer to itself is sound.
TolvaneOMInterfaceRef& TolvaneOMInterfaceRef::operator=(const TolvaneOMInterfaceRef& other) {
    mInterface = other.mInterface;
    return *this;
}

TolvaneOMInterfaceRef::~TolvaneOMInterfaceRef() {
    OMInterface::operator delete(mInterface);
}

void TolvaneOMInterfaceRef::changeInterface(OMInterface* interface) {
    if (interface != mInterface) {
        OMInterface::operator delete(std::exchange(mInterface, nullptr));
        mInterface = getReference(interface);
    }
}

OMInterface* TolvaneOMInterfaceRef::getReference(OMInterface* interface) {
    return interface == nullptr ? nullptr : interface->getReference();
}

// fi

FiOMInterfaceRef::FiOMInterfaceRef(const hvArray* value)
    : TolvaneOMInterfaceRef(handleInside(value, fi::getVelmarPackageClassName(), fi::getFiFromHvArray).release()) {}

FiOMInterfaceRef::FiOMInterfaceRef(const fi& object)
    : TolvaneOMInterfaceRef(FiOMClass::wrap(std::make_unique<fi>(object))) {}

fi& FiOMInterfaceRef::getFi() const {
    return *objectOf<fi>(getInterface());
}

// fimath

FimathOMInterfaceRef::FimathOMInterfaceRef() : FimathOMInterfaceRef(fimath()) {}

FimathOMInterfaceRef::FimathOMInterfaceRef(fimath::RoundModeEnum roundMode, fimath::OverflowModeEnum overflowMode,
                                           fimath::PrecisionModeEnum precisionMode,
                                           fimath::ArithmeticModeEnum productMode, int productWordLength,
                                           int maxProductWordLength, int productFractionLength,
                                           fimath::ArithmeticModeEnum sumMode, int sumWordLength, int maxSumWordLength,
                                           int sumFractionLength, bool castBeforeSum)
    : FimathOMInterfaceRef(fimath(roundMode, overflowMode, precisionMode, productMode, productWordLength,
                                  maxProductWordLength, productFractionLength, sumMode, sumWordLength, maxSumWordLength,
                                  sumFractionLength, castBeforeSum)) {}

FimathOMInterfaceRef::FimathOMInterfaceRef(const hvArray* value)
    : TolvaneOMInterfaceRef(
          handleInside(value, fimath::getVelmarPackageClassName(), fimath::convertFromVelmarArray).release()) {}

FimathOMInterfaceRef::FimathOMInterfaceRef(const fimath& object)
    : TolvaneOMInterfaceRef(FimathOMClass::wrap(std::make_unique<fimath>(object))) {}

fimath& FimathOMInterfaceRef::getFimath() const {
    return *objectOf<fimath>(getInterface());
}

// NumericType

NumericTypeOMInterfaceRef::NumericTypeOMInterfaceRef() : NumericTypeOMInterfaceRef(NumericType()) {}

NumericTypeOMInterfaceRef::NumericTypeOMInterfaceRef(NumericType::DataTypeModeEnum mode, bool isSigned, int wordLength,
                                                     double slopeAdjustmentFactor, int fixedExponent, double bias)
    : NumericTypeOMInterfaceRef(NumericType(mode, isSigned, wordLength, slopeAdjustmentFactor, fixedExponent, bias)) {}

NumericTypeOMInterfaceRef::NumericTypeOMInterfaceRef(const hvArray* value)
    : TolvaneOMInterfaceRef(
          handleInside(value, NumericType::getVelmarPackageClassName(), NumericType::convertFromVelmarArray)
              .release()) {}

NumericTypeOMInterfaceRef::NumericTypeOMInterfaceRef(const NumericType& object)
    : TolvaneOMInterfaceRef(NumericTypeOMClass::wrap(std::make_unique<NumericType>(object))) {}

EmbeddedTypeSystem::NumericType& NumericTypeOMInterfaceRef::getNumericType() const {
    return *objectOf<NumericType>(getInterface());
}

hvArray* NumericTypeOMInterfaceRef::convertToExternalVelmarArray() const {
    return omdtConvertToVelmar(datatypes::kObject<NumericType>.find(), getInterface());
}
