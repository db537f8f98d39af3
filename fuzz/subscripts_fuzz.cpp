// Subscripts of any kind on arrays of the host and of class fi, and plans of any numbers.
//
// A simple model finds the elements that one index names. The elements of a fi, read by the plan that the host makes,
// must be those of the plain array at the same positions. A plan of arbitrary doubles is carried out or refused.
#include <cmath>
#include <memory>
#include <optional>
#include <sstream>
#include <vector>

#include "fuzz/fuzz_case.h"
#include "host/ErrorIdException.h"
#include "host/reference/values/indexing.h"
#include "tests/support/arrays_of_fi.h"

namespace {

hvArrayOwner plainArray(const std::vector<std::size_t>& dims) {
    hvArrayOwner array(hvCreateNumericArray(dims.size(), dims.data(), hvDOUBLE_CLASS));
    for (std::size_t i = 0; i < hvGetNumberOfElements(array.get()); ++i) {
        hvGetPr(array.get())[i] = static_cast<double>(i);
    }
    return array;
}

double takePlace(FuzzInput& input) {
    switch (input.between(0, 7)) {
        case 0:
            return input.take<double>();
        case 1:
            return input.between(-2, 40) + 0.5;
        default:
            return input.between(-1, 12);
    }
}

hvArrayOwner takeIndex(FuzzInput& input) {
    const int kind = input.between(0, 5);
    if (kind == 0) {
        return hvArrayOwner(hvCreateString(input.between(0, 9) == 0 ? "::" : ":"));
    }
    const auto rows = static_cast<std::size_t>(input.between(0, 3));
    const auto columns = static_cast<std::size_t>(input.between(0, 3));
    if (kind == 1) {
        hvArrayOwner mask(hvCreateLogicalMatrix(rows, columns));
        for (hvLogical& bit : hvGetTypedData<hvLogical>(mask.get())) {
            bit = static_cast<hvLogical>(input.between(0, 1));
        }
        return mask;
    }
    if (kind == 2) {
        hvArrayOwner bytes(hvCreateNumericMatrix(rows, columns, hvINT8_CLASS));
        for (std::int8_t& place : hvGetTypedData<std::int8_t>(bytes.get())) {
            place = static_cast<std::int8_t>(input.between(-1, 9));
        }
        return bytes;
    }
    hvArrayOwner numbers(hvCreateDoubleMatrix(rows, columns, input.between(0, 20) == 0 ? hvCOMPLEX : hvREAL));
    for (double& place : hvGetTypedData<double>(numbers.get())) {
        place = takePlace(input);
    }
    return numbers;
}

/// Runs an action that may raise an error with an id; returns whether it succeeded.
template <class Action>
bool isDone(Action&& action) {
    try {
        action();
        return true;
    } catch (ErrorIdException* raised) {
        const std::unique_ptr<ErrorIdException> error(raised);
        require(*error->getId() != '\0', "every error has an id", [&] { return std::string(error->getMessage()); });
        return false;
    }
}

void requireSameElements(const fi& array, const hvArray* plain) {
    const auto dims = hvGetDims(plain);
    require(std::ranges::equal(dims, array.dimensions()), "a fi has the shape of the plan", [] { return "shape"; });
    const auto values = hvGetTypedData<double>(plain);
    for (std::size_t i = 0; i < values.size(); ++i) {
        require(array.realdouble(i) == values[i], "a fi has the elements of the plan", [&] { return values[i]; });
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    std::vector<std::size_t> dims(static_cast<std::size_t>(input.between(2, 3)));
    for (std::size_t& dim : dims) {
        dim = static_cast<std::size_t>(input.between(0, 4));
    }
    const hvArrayOwner plain = plainArray(dims);
    const std::vector<std::size_t> shape(hvGetDims(plain.get()).begin(), hvGetDims(plain.get()).end());
    const std::vector<std::uint64_t> sizes(shape.begin(), shape.end());
    fi array(sizes.data(), sizes.size(), fixedType(true, input.between(0, 1) == 0 ? 16 : 70, 0), rulesOf(), false, "",
             true, Operation::Assignment, 0U);
    for (std::uint64_t i = 0; i < array.numel(); ++i) {
        array.setIndex(i);
        array = static_cast<double>(i);
    }

    std::vector<hvArrayOwner> owners;
    std::vector<const hvArray*> indices;
    for (int count = input.between(0, 3); count > 0; --count) {
        owners.push_back(takeIndex(input));
        indices.push_back(owners.back().get());
    }
    isDone([&] {
        const hvArrayOwner plan = hostref::elementsAt(plain.get(), indices);
        requireSameElements(*std::unique_ptr<fi>(array.subscriptedReference(plan.get())), plan.get());
    });
    isDone([&] {
        const hvArrayOwner plan = hostref::withoutElements(plain.get(), indices);
        requireSameElements(*std::unique_ptr<fi>(array.subscriptedDelete(plan.get())), plan.get());
    });
    const hvArrayOwner value(hvCreateDoubleScalar(77.0));
    isDone([&] {
        // Large positions need more memory than there is; the library refuses only impossible sizes.
        for (const hvArray* const index : indices) {
            for (std::size_t i = 0; hvIsDouble(index) && i < hvGetNumberOfElements(index); ++i) {
                if (std::fabs(hvGetPr(index)[i]) > 64.0) {
                    return;
                }
            }
        }
        const hvArrayOwner result = hostref::withElements(plain.get(), indices, value.get());
        require(hvGetNumberOfElements(result.get()) >= hvGetNumberOfElements(plain.get()), "nothing is lost",
                [] { return "size"; });
    });

    // A plan of any numbers.
    const hvArrayOwner plan(hvCreateDoubleMatrix(1, static_cast<std::size_t>(input.between(0, 5))));
    for (double& place : hvGetTypedData<double>(plan.get())) {
        place = takePlace(input);
    }
    const fi right = column({5, 6}, fixedType(true, 8, 0));
    isDone([&] { delete array.subscriptedReference(plan.get()); });
    isDone([&] { delete array.subscriptedGrowAssignment(plan.get(), right); });
    isDone([&] { array.subscriptedOverwriteAssignment(plan.get(), right); });
    return 0;
}
