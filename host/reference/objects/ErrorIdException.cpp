#include "host/ErrorIdException.h"

void raiseError(std::string id, std::string message) {
    throw new ErrorIdException(std::move(id), std::move(message));
}
