// Comparison of arrays, to host arrays.
#include "fi/fi.h"
#include "host/hv.h"

namespace {

hvArray* flagsOf(const fi& a, const fi& b, fi::Comparison comparison) {
    hvArrayOwner flags;
    a.compare(comparison, b, [&flags](const fi& shape) {
        flags.reset(hvCreateLogicalArray(shape.ndims(), shape.dims()));
        return hvGetTypedData<hvLogical>(flags.get());
    });
    return flags.release();
}

}  // namespace

hvArray* fi::eq(const fi& b) const {
    return flagsOf(*this, b, Comparison::eq);
}

hvArray* fi::ne(const fi& b) const {
    return flagsOf(*this, b, Comparison::ne);
}

hvArray* fi::gt(const fi& b) const {
    return flagsOf(*this, b, Comparison::gt);
}

hvArray* fi::ge(const fi& b) const {
    return flagsOf(*this, b, Comparison::ge);
}

hvArray* fi::lt(const fi& b) const {
    return flagsOf(*this, b, Comparison::lt);
}

hvArray* fi::le(const fi& b) const {
    return flagsOf(*this, b, Comparison::le);
}

hvArray* fi::isequal(const fi& b) const {
    return hvCreateLogicalScalar(equalsArray(b));
}
