#include "host/reference/values/caught_error.h"

#include <cxxabi.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>

#include "host/ErrorIdException.h"
#include "host/reference/HostError.h"

namespace hostref {

namespace {

/// Names the type of the exception being handled.
LastError foreignError() {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    if (type == nullptr) {
        return {"VELMAR:internal", "An exception of another language was thrown."};
    }
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(type->name(), nullptr, nullptr, &status),
                                                           &std::free);
    return {"VELMAR:internal", std::string("A value of type '") + (name ? name.get() : type->name()) + "' was thrown."};
}

}  // namespace

LastError caughtError() {
    try {
        throw;
    } catch (ErrorIdException* raised) {
        const std::unique_ptr<ErrorIdException> error(raised);
        // A thrown null pointer also gets here.
        return error ? LastError{error->getId(), error->getMessage()} : foreignError();
    } catch (const ErrorIdException& error) {
        return {error.getId(), error.getMessage()};
    } catch (const HostError& error) {
        return {error.id(), error.message()};
    } catch (const std::bad_alloc&) {
        return {"VELMAR:nomem", "Out of memory."};
    } catch (const std::exception& error) {
        return {"VELMAR:internal", error.what()};
    } catch (...) {
        return foreignError();
    }
}

void dropCaughtError() noexcept {
    try {
        throw;
    } catch (const ErrorIdException* raised) {
        delete raised;
    } catch (...) {
        return;
    }
}

bool isLackOfMemory(const std::string& id) {
    std::string last = id.substr(id.rfind(':') + 1);
    std::ranges::transform(last, last.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return last == "nomem" || last == "outofmemory";
}

}  // namespace hostref
