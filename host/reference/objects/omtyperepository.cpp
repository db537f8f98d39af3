#include "host/OMTypeRepository.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "host/BooleanDataType.h"
#include "host/ErrorIdException.h"
#include "host/OMClass.h"
#include "host/OMInterfaceType.h"
#include "host/OMInterfaceVectorType.h"
#include "host/RealPointType.h"
#include "host/StringType.h"
#include "host/StringVectorType.h"
#include "host/hv.h"
#include "host/reference/values/classnames.h"

namespace {

class ArrayDataType : public OMDataType {
 public:
    ArrayDataType() : OMDataType("VELMAR array") {}
    void releaseValue(void* value) const override { hvDestroyArray(static_cast<hvArray*>(value)); }

 private:
    hvArray* convertToVelmar(const void* value) const override {
        if (value == nullptr) {
            raiseBadValue();
        }
        return hvCreateSharedDataCopy(static_cast<const hvArray*>(value));
    }
    void* convertFromVelmar(const hvArray* array) const override {
        if (array == nullptr) {
            raiseBadValue();
        }
        return hvCreateSharedDataCopy(array);
    }
};

/// "int32", "int" and "double": a scalar that the type holds exactly.
template <class T>
class ScalarDataType : public OMDataType {
 public:
    using OMDataType::OMDataType;
    void releaseValue(void* value) const override { delete static_cast<T*>(value); }

 private:
    hvArray* convertToVelmar(const void* value) const override {
        if (value == nullptr) {
            raiseBadValue();
        }
        hvArrayOwner array(hvCreateNumericMatrix(1, 1, hvClassOf<T>));
        hvGetTypedData<T>(array.get())[0] = *static_cast<const T*>(value);
        return array.release();
    }
    void* convertFromVelmar(const hvArray* array) const override {
        if (!hvIsScalar(array) || !(hvIsNumeric(array) || hvIsLogical(array)) || hvIsComplex(array)) {
            raiseBadValue();
        }
        const double value = hvGetScalar(array);
        if constexpr (std::numeric_limits<T>::is_integer) {
            // Written so that NaN fails; both bounds are doubles.
            if (!(value >= std::numeric_limits<T>::min() && value <= std::numeric_limits<T>::max()) ||
                value != std::floor(value)) {
                raiseBadValue();
            }
        }
        return new T(static_cast<T>(value));
    }
};

using Types = std::map<std::string, std::unique_ptr<OMDataType>, std::less<>>;

void add(Types& types, std::unique_ptr<OMDataType> type) {
    const char* const name = type->getName();
    types.emplace(name, std::move(type));
}

// Never destroyed: types are held by pointer in statics of every module.
Types& types() {
    static Types& instance = *[] {
        auto made = std::make_unique<Types>();
        add(*made, std::make_unique<ArrayDataType>());
        add(*made, std::make_unique<ScalarDataType<std::int32_t>>("int32"));
        add(*made, std::make_unique<ScalarDataType<std::int32_t>>("int"));
        add(*made, std::make_unique<ScalarDataType<double>>("double"));
        add(*made, std::make_unique<BooleanDataType>());
        add(*made, std::make_unique<StringType>());
        add(*made, std::make_unique<OMInterfaceType>("handle", nullptr));
        add(*made, std::make_unique<RealPointType>());
        add(*made, std::make_unique<StringVectorType>());
        add(*made, std::make_unique<OMInterfaceVectorType>());
        return made.release();
    }();
    return instance;
}

OMDataType* find(std::string_view name) {
    const auto found = types().find(name);
    return found == types().end() ? nullptr : found->second.get();
}

[[noreturn]] void raiseNameInUse(const std::string& name) {
    raiseError("VELMAR:datatype:nameInUse", "Data type '" + name + "' exists already.");
}

}  // namespace

OMDataType* OMTypeRepository::getType(const char* name, bool withClasses) {
    OMDataType* const type = find(name);
    const auto* const handles = dynamic_cast<OMInterfaceType*>(type);
    if (handles != nullptr && !handles->mIsAnyClass && (!withClasses || handles->mClass == nullptr)) {
        return nullptr;
    }
    return type;
}

OMDataType* OMTypeRepository::addType(std::unique_ptr<OMDataType> type) {
    if (find(type->getName()) != nullptr) {
        raiseNameInUse(type->getName());
    }
    OMDataType* const added = type.get();
    add(types(), std::move(type));
    return added;
}

void OMTypeRepository::addClass(const std::string& fullName, OMClass* objectClass) {
    OMDataType* const type = find(fullName);
    if (type == nullptr) {
        add(types(), std::make_unique<OMInterfaceType>(fullName, objectClass));
        return;
    }
    // The type of a destroyed class is reused for the next one of that name.
    auto* const handles = dynamic_cast<OMInterfaceType*>(type);
    if (handles == nullptr || handles->mIsAnyClass || handles->mClass != nullptr) {
        raiseNameInUse(fullName);
    }
    handles->mClass = objectClass;
}

void OMTypeRepository::removeClass(const std::string& fullName) {
    if (auto* const handles = dynamic_cast<OMInterfaceType*>(find(fullName))) {
        handles->mClass = nullptr;
    }
}

OMClass* hostref::findClassByShortName(std::string_view name) {
    OMClass* found = nullptr;
    for (const auto& [fullName, type] : types()) {
        const auto* const handles = dynamic_cast<const OMInterfaceType*>(type.get());
        OMClass* const candidate = handles == nullptr ? nullptr : handles->getClass();
        if (candidate != nullptr && candidate->getName() == name) {
            if (found != nullptr) {
                return nullptr;
            }
            found = candidate;
        }
    }
    return found;
}
