#include "binding/frame/shapes.h"

#include "host/OMTypeRepository.h"
#include "numbers/internal_error.h"

namespace tolvane::detail {

OMDataType* findDataType(const char* name) {
    OMDataType* const type = OMTypeRepository::getType(name, true);
    if (type == nullptr) {
        raiseInternalError("fixedpoint:binding:unknownType", "There is no data type '" + std::string(name) + "'.");
    }
    return type;
}

}  // namespace tolvane::detail
