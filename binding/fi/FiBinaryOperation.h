// The family of methods with two operands, at least one of them a `fi`: the possible types of the other, the checks
// before the computation, and the form of the result.
//
// Three signatures, in this order: (fi, fi), (fi, array), (array, fi). The host passes null for an empty array where
// the signature has a `fi`; it is replaced by an empty partner of the other operand's type. An array is converted to a
// `fi` for the duration of the call, by the rule of the family. All records of the family are called for a `fi` in
// either position.
#pragma once

#include <memory>
#include <string>

#include "descriptors/NumericType.h"
#include "fi/fi.h"
#include "host/OMMethodInfo.h"

namespace tolvane::detail {

/// How an array operand is converted to a `fi`.
struct PartnerRule {
    /// Use the best precision for the array's values instead of the type of the `fi`.
    bool hasBestPrecision;
    bool keepsTag;
    /// Always have local rules, instead of following the `fi`.
    bool isAlwaysLocal;
};

/// Raises "fixedpoint:fi:<method>:<data type>:notallowed" for an operand of a data type that the method doesn't accept.
[[noreturn]] void raiseNotAllowed(const std::string& method, const fi& operand);
/// Makes a `fi` from the values of an array for an operation with another one, by its type and rules.
std::unique_ptr<fi> partnerFrom(const hvArray* values, const fi& other, const PartnerRule& rule);

}  // namespace tolvane::detail

class FiBinaryOperation : public OMMethodInfo {
 public:
    explicit FiBinaryOperation(const char* name);

 protected:
    /// The operands of one call; partners are destroyed with it.
    struct Operands {
        const fi* a = nullptr;
        const fi* b = nullptr;
        std::unique_ptr<fi> partner;
    };

    /// Returns the operands; both are missing for a signature of another record.
    Operands operands(const OMMethodSignature* signature, void** arguments,
                      const tolvane::detail::PartnerRule& rule) const;
    /// Returns the operand whose data type decides whether the call is allowed. Only this one is checked. Raises
    /// "fixedpoint:fi:binaryop:signaturenotfound" if it isn't a `fi`.
    const fi& decidingOperand(const OMMethodSignature* signature, void** arguments) const;

    bool isOwn(const OMMethodSignature* signature) const {
        return signature == mFiFi || signature == mFiArray || signature == mArrayFi;
    }
    void addSignatures(OMDataType* result);

 private:
    OMMethodSignature* mFiFi = nullptr;
    OMMethodSignature* mFiArray = nullptr;
    OMMethodSignature* mArrayFi = nullptr;
};

/// Returns a new `fi`. An array takes the best precision for its values, and tag and locality of the `fi`.
class FiBinaryOperationFiOutput : public FiBinaryOperation {
 public:
    explicit FiBinaryOperationFiOutput(const char* name);
    /// Raises "fixedpoint:fi:binaryop:signaturenotfound" for a signature of another record.
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override;
    virtual std::unique_ptr<fi> computeResult(const fi& a, const fi& b) = 0;
    /// Counts the operations of a result and reports overflows; the default does nothing.
    virtual void logResult(const fi& a, const fi& b, const fi& result);

 protected:
    void computeAndGive(const tolvane::detail::PartnerRule& rule, OMMethodSignature* signature, int* resultCount,
                        void** results, void** arguments);
};

/// As FiBinaryOperationFiOutput, but the deciding operand must be fixed-point.
class FiBinaryOperationFiOutputFixedInputOnly : public FiBinaryOperationFiOutput {
 public:
    using FiBinaryOperationFiOutput::FiBinaryOperationFiOutput;
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override;
};

/// As FiBinaryOperationFiOutput, but the deciding operand must not be boolean.
class FiBinaryOperationFiOutputNoBooleanInput : public FiBinaryOperationFiOutput {
 public:
    using FiBinaryOperationFiOutput::FiBinaryOperationFiOutput;
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override;
};

/// As FiBinaryOperationFiOutput, except that an array takes exactly the type of the `fi` and no tag. Overflows and
/// underflows of that conversion are counted in the result's log.
class FiBinaryOperationFiOutputStrictNumericType : public FiBinaryOperationFiOutput {
 public:
    using FiBinaryOperationFiOutput::FiBinaryOperationFiOutput;
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override;
};

/// Returns a host array. An array operand takes the best precision, no tag and local rules. A signature of another
/// record gives no result; one of its own without a `fi` raises "fixedpoint:fi:binaryop:signaturenotfound".
class FiBinaryOperationHvArrayOutput : public FiBinaryOperation {
 public:
    explicit FiBinaryOperationHvArrayOutput(const char* name);
    void invokeMethod(OMMethodSignature* signature, int* resultCount, void** results, int argumentCount,
                      void** arguments) override;
    /// Returns a new array that the caller owns.
    virtual hvArray* computeResult(const fi& a, const fi& b) = 0;
};
