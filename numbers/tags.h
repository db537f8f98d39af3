// Tags and kinds that the numeric core shares with the rest of the package.
//
// The class `embedded` (descriptors/embedded.h) inherits them, so that callers write `embedded::numbertype`; the
// numeric core itself is below the descriptors and uses this base.
#pragma once

struct embeddedNumberTags {
    /// The kind of a number body.
    enum class numbertype : int {
        doublenumber = 0,
        mpnumber = 1,
    };
    /// Selects the constructors that make or copy a whole array of values.
    enum class NumberVector { tag };
    /// As NumberVector, for an array in which every value is set before any is read: doubles are left uninitialised,
    /// which saves a pass over the memory.
    enum class UnsetVector { tag };
    /// Selects the constructors that share the array of another body but have their own cursor.
    enum class CopyIndex { tag };
};
