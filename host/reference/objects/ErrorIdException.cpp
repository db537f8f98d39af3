#include "host/ErrorIdException.h"

#include <utility>

ErrorIdException::ErrorIdException(std::string id, std::string message)
    : mId(std::move(id)), mMessage(std::move(message)) {}

ErrorIdException::~ErrorIdException() = default;

void raiseError(std::string id, std::string message) {
    throw new ErrorIdException(std::move(id), std::move(message));
}
