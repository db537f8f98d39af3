#include "numbers/numberfactory.h"

#include <new>
#include <utility>

#include "numbers/doublenumber.h"
#include "numbers/errors.h"
#include "numbers/mpnumber.h"

using namespace tolvane::detail;

namespace {

using Tags = embeddedNumberTags;

template <class Body, class... Arguments>
numberrepbody* make(Arguments&&... arguments) {
    try {
        return new Body(std::forward<Arguments>(arguments)...);
    } catch (const std::bad_alloc&) {
        raiseOutOfMemory();
    }
}

/// Makes a body of the same kind as the source, from the source and the other arguments.
template <class... Arguments>
numberrepbody* makeLike(const numberrepbody* source, Arguments... arguments) {
    switch (source->gettype()) {
        case Tags::numbertype::doublenumber:
            return make<doublenumber>(source->asDouble(), arguments...);
        case Tags::numbertype::mpnumber:
            return make<mpnumber>(source->asMp(), arguments...);
    }
    return nullptr;
}

}  // namespace

numberrepbody* numberfactory::createnumberVector(std::uint64_t count, std::uint32_t precision) {
    if (precision < kMultiplePrecisionFrom) {
        return make<doublenumber>(count, precision, Tags::NumberVector::tag);
    }
    return make<mpnumber>(count, precision, Tags::NumberVector::tag);
}

numberrepbody* numberfactory::createnumberVector(std::uint64_t count, std::uint32_t precision, Tags::UnsetVector tag) {
    if (precision < kMultiplePrecisionFrom) {
        return make<doublenumber>(count, precision, tag);
    }
    // A multi-precision float must have a value, and zero costs no more than another.
    return make<mpnumber>(count, precision, Tags::NumberVector::tag);
}

numberrepbody* numberfactory::createnumberVector(std::uint64_t count, std::uint32_t precision, const WordGrid& grid,
                                                 bool areUnset) {
    if (precision >= kMultiplePrecisionFrom && mpnumber::canBeWords(count, precision, grid)) {
        return make<mpnumber>(count, precision, grid);
    }
    return areUnset ? createnumberVector(count, precision, Tags::UnsetVector::tag)
                    : createnumberVector(count, precision);
}

numberrepbody* numberfactory::createnumberVector(const numberrepbody* source) {
    return makeLike(source, Tags::NumberVector::tag);
}

numberrepbody* numberfactory::createnumberVector(const numberrepbody* source, std::uint64_t start,
                                                 std::uint64_t count) {
    return makeLike(source, start, count);
}

numberrepbody* numberfactory::createnumberScalar(double value, std::uint32_t precision, bool force) {
    if (!force && precision < kMultiplePrecisionFrom) {
        return make<doublenumber>(value);
    }
    return make<mpnumber>(value, precision);
}

numberrepbody* numberfactory::createnumber(const numberrepbody* source, Tags::CopyIndex tag) {
    return makeLike(source, tag);
}
