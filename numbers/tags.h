// Tags and kinds that the numeric core shares with the rest of the package.
//
// The class `embedded` (descriptors/embedded.h) inherits them, so that callers write `embedded::numbertype`; the
// numeric core itself stands below the descriptors and uses this base.
#pragma once

struct embeddedNumberTags {
    /// The kind of a number body.
    enum class numbertype : int {
        doublenumber = 0,
        mpnumber = 1,
    };
    /// Selects the constructors that make or copy a whole array of values.
    enum class NumberVector { tag };
    /// As NumberVector, for an array of which every value is set before any is read: doubles are left as the memory
    /// comes, which spares a pass over it.
    enum class UnsetVector { tag };
    /// Selects the constructors that share the array of another body and have a cursor of their own.
    enum class CopyIndex { tag };
};
