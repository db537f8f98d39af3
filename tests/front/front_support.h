// The functions around the classes as a user calls them, and arrays of any number of dimensions to model them with.
#pragma once

#include <functional>
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
    std::string idOf(const char* name, const Arguments& arguments, int resultCount = 1) {
        return thrownBy([&] { session.call(resultCount, name, arguments); }).id;
    }
};

/// Elements by their subscripts.
struct Model {
    std::vector<std::size_t> dims;
    std::vector<double> elements;

    explicit Model(std::vector<std::size_t> sizes) : dims(std::move(sizes)) {
        std::size_t count = 1;
        for (const std::size_t size : dims) count *= size;
        elements.resize(count);
    }
    double& at(const std::vector<std::size_t>& place) {
        std::size_t offset = 0;
        for (std::size_t i = dims.size(); i-- > 0;) offset = offset * dims[i] + (i < place.size() ? place[i] : 0);
        return elements.at(offset);
    }
    void forEach(const std::function<void(const std::vector<std::size_t>& place)>& visit) const {
        std::vector<std::size_t> place(dims.size());
        for (std::size_t i = 0; i < elements.size(); ++i) {
            std::size_t rest = i;
            for (std::size_t d = 0; d < dims.size(); rest /= dims[d++]) place[d] = rest % dims[d];
            visit(place);
        }
    }
    Value value() const { return front::doubles(dims, elements); }
};

/// As a host shows sizes: two at least, no ones at the end.
inline std::vector<std::size_t> trimmed(std::vector<std::size_t> dims) {
    while (dims.size() > 2 && dims.back() == 1) dims.pop_back();
    return dims;
}
