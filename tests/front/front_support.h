// The functions around the classes as a user calls them, and arrays of any number of dimensions to model them with.
#pragma once

#include <complex>
#include <string>
#include <vector>

#include "host/front/front.h"
#include "tests/binding/session_support.h"
#include "tests/support/rational.h"

class FrontTest : public BindingTest {
 protected:
    using Arguments = std::vector<Value>;

    FrontTest() { front::install(session); }

    Value call(const char* name, const Arguments& arguments) { return session.call(name, arguments); }
};

using Sizes = std::vector<std::size_t>;

/// Complex elements by their subscripts.
struct Model {
    Sizes dims;
    std::vector<std::complex<double>> elements;

    explicit Model(Sizes sizes) : dims(std::move(sizes)), elements(front::elementCount(dims)) {}
    /// The array in the form of more dimensions.
    Model(const Value& array, Sizes sizes) : Model(std::move(sizes)) {
        const std::vector<double> real = array.toDoubles();
        const std::vector<double> imaginary = array.toImaginaries();
        for (std::size_t i = 0; i < real.size(); ++i) {
            elements.at(i) = {real[i], imaginary.empty() ? 0 : imaginary[i]};
        }
    }
    std::complex<double>& at(const Sizes& place) {
        std::size_t offset = 0;
        for (std::size_t i = dims.size(); i-- > 0;) {
            offset = offset * dims[i] + place[i];
        }
        return elements.at(offset);
    }
    template <class Visit>
    void forEach(Visit visit) const {
        Sizes place(dims.size());
        for (std::size_t i = 0; i < elements.size(); ++i) {
            std::size_t rest = i;
            for (std::size_t d = 0; d < dims.size(); rest /= dims[d++]) {
                place[d] = rest % dims[d];
            }
            visit(place);
        }
    }
    Value value(bool isComplex = false) const {
        hvArrayOwner array(hvCreateNumericArray(dims.size(), dims.data(), hvDOUBLE_CLASS, hvComplexity{isComplex}));
        for (std::size_t i = 0; i < elements.size(); ++i) {
            hvGetPr(array.get())[i] = elements[i].real();
            if (isComplex) {
                hvGetPi(array.get())[i] = elements[i].imag();
            }
        }
        return Value(std::move(array));
    }
};

/// As a host shows sizes: two at least, no ones at the end.
inline Sizes trimmed(Sizes dims) {
    while (dims.size() > 2 && dims.back() == 1) {
        dims.pop_back();
    }
    return dims;
}
