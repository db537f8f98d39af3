// Smart handles: a counted reference to a host handle, and typed ones that know the object behind it.
//
// Copying adds a reference. Assignment copies the bare pointer and counts nothing: the target's old reference is not
// released, and source and target share one reference. It is meant for handles that are about to be abandoned; use
// `changeInterface` to count references.
#pragma once

#include "descriptors/NumericType.h"
#include "descriptors/fimath.h"
#include "fi/fi.h"
#include "host/OMInterface.h"

class TolvaneOMInterfaceRef {
 public:
    TolvaneOMInterfaceRef() = default;
    TolvaneOMInterfaceRef(const TolvaneOMInterfaceRef& other);
    TolvaneOMInterfaceRef& operator=(const TolvaneOMInterfaceRef& other);
    virtual ~TolvaneOMInterfaceRef();

    /// Returns the handle, still owned by this object; null for none.
    OMInterface* getInterface() const { return mInterface; }
    /// Releases the old reference and takes one to the given handle (null allowed), unless it is the same.
    void changeInterface(OMInterface* interface);

 protected:
    /// Takes over one reference.
    explicit TolvaneOMInterfaceRef(OMInterface* interface) : mInterface(interface) {}

 private:
    OMInterface* getReference() const { return getReference(mInterface); }
    /// Returns a new reference; null for null.
    static OMInterface* getReference(OMInterface* interface);

    OMInterface* mInterface = nullptr;
};

class FiOMInterfaceRef : public TolvaneOMInterfaceRef {
 public:
    /// Refers to the handle inside a host value; raises "fixedpoint:fi:mustBeFi".
    explicit FiOMInterfaceRef(const hvArray* value);
    /// Wraps a copy of the object in a new handle.
    explicit FiOMInterfaceRef(const fi& object);
    fi& getFi() const;
};

class FimathOMInterfaceRef : public TolvaneOMInterfaceRef {
 public:
    /// Wraps a new object with the default rules.
    FimathOMInterfaceRef();
    /// As the constructor of `fimath` with these values.
    FimathOMInterfaceRef(fimath::RoundModeEnum roundMode, fimath::OverflowModeEnum overflowMode,
                         fimath::PrecisionModeEnum precisionMode, fimath::ArithmeticModeEnum productMode,
                         int productWordLength, int maxProductWordLength, int productFractionLength,
                         fimath::ArithmeticModeEnum sumMode, int sumWordLength, int maxSumWordLength,
                         int sumFractionLength, bool castBeforeSum);
    /// Refers to the handle inside a host value; raises "fixedpoint:fimath:mustBeFimath".
    explicit FimathOMInterfaceRef(const hvArray* value);
    explicit FimathOMInterfaceRef(const fimath& object);
    fimath& getFimath() const;
};

class NumericTypeOMInterfaceRef : public TolvaneOMInterfaceRef {
 public:
    using NumericType = EmbeddedTypeSystem::NumericType;

    /// Wraps a new object of the default type.
    NumericTypeOMInterfaceRef();
    /// As the constructor of `NumericType` with these values.
    NumericTypeOMInterfaceRef(NumericType::DataTypeModeEnum mode, bool isSigned, int wordLength,
                              double slopeAdjustmentFactor, int fixedExponent, double bias);
    /// Refers to the handle inside a host value; raises "fixedpoint:numerictype:notnumerictype".
    explicit NumericTypeOMInterfaceRef(const hvArray* value);
    explicit NumericTypeOMInterfaceRef(const NumericType& object);
    NumericType& getNumericType() const;
    /// Returns a new host value that holds this handle with an external reference; the caller owns the value.
    hvArray* convertToExternalVelmarArray() const;
};
