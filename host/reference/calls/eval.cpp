#include "host/reference/calls/eval.h"

#include "host/reference/parts/opener.h"

namespace hostref {

hvArrayOwner evaluate(const std::string& text) {
    return parts::get<parts::Expressions>().evaluate(text);
}

}  // namespace hostref
