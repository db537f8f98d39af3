// The constants of the type as arrays.
#include <cstddef>
#include <initializer_list>
#include <memory>

#include "fi/fi.h"

// The values are stored values of this type already, so nothing is quantized.
std::unique_ptr<fi> fi::constants(std::initializer_list<const number*> values) const {
    auto result = std::make_unique<fi>(1, values.size(), getNumericType(), getFimath(), false, getTag(), mFimathIsLocal,
                                       embedded::OperationTypeEnum::Assignment, 0U);
    std::uint64_t i = 0;
    for (const number* value : values) {
        result->mReal[i++].setvalue(*value);
    }
    result->mReal.setIndex(0);
    return result;
}

fi* fi::realmax() const {
    return constants({&getAssignmentQuantizer().getUpperBound()}).release();
}

fi* fi::upperbound() const {
    return realmax();
}

fi* fi::lowerbound() const {
    return constants({&getAssignmentQuantizer().getLowerBound()}).release();
}

fi* fi::realmin() const {
    return constants({&getAssignmentQuantizer().getRealmin()}).release();
}

fi* fi::eps() const {
    return constants({&getAssignmentQuantizer().getEps()}).release();
}

fi* fi::lsb() const {
    return eps();
}

fi* fi::range() const {
    const quantizer& q = getAssignmentQuantizer();
    return constants({&q.getLowerBound(), &q.getUpperBound()}).release();
}

fi* fi::intmax() const {
    return &constants({&getAssignmentQuantizer().getUpperBound()})->stripscaling();
}

fi* fi::intmin() const {
    return &constants({&getAssignmentQuantizer().getLowerBound()})->stripscaling();
}
