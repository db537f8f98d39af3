#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include "host/bs.h"
#include "host/hv.h"
#include "host/om.h"
#include "host/reference/objects/near_names.h"
#include "host/reference/objects/ominterfacearrays.h"
#include "host/reference/values/texts.h"

OMVelmarConversion::~OMVelmarConversion() = default;

OMDataType::OMDataType(std::string name) : mName(std::move(name)) {}
OMDataType::~OMDataType() = default;

void hostref::raiseBadValue(const std::string& message) {
    raiseError("VELMAR:datatype:badValue", message);
}

void OMDataType::raiseBadValue() const {
    hostref::raiseBadValue("Value is not valid for data type '" + mName + "'.");
}

hvArray* omdtConvertToVelmar(const OMDataType* type, const void* value) {
    return type->getVelmarConversion()->convertToVelmar(value);
}

void* omdtConvertFromVelmar(const OMDataType* type, const hvArray* array) {
    return type->getVelmarConversion()->convertFromVelmar(array);
}

namespace {

bool isNumberOrLogicalScalar(const hvArray* array) {
    return hvIsScalar(array) && (hvIsNumeric(array) || hvIsLogical(array)) && !hvIsComplex(array);
}

char* newText(const std::string& text) {
    if (text.empty()) {
        return nullptr;
    }
    auto* const copy = static_cast<char*>(bsMallocWithCheck(text.size() + 1));
    text.copy(copy, text.size());
    copy[text.size()] = '\0';
    return copy;
}

}  // namespace

// EnumStringType

EnumStringType::EnumStringType(std::string name) : OMDataType(std::move(name)) {}

EnumStringType* EnumStringType::findOrAdd(const char* name, std::vector<Entry> entries) {
    OMDataType* type = OMTypeRepository::getType(name, true);
    if (type == nullptr) {
        auto made = std::make_unique<EnumStringType>(name);
        for (Entry& entry : entries) {
            made->addValue(entry.value, std::move(entry.text));
        }
        type = OMTypeRepository::addType(std::move(made));
    }
    auto* const enumeration = dynamic_cast<EnumStringType*>(type);
    if (enumeration == nullptr) {
        raiseError("VELMAR:datatype:nameInUse", "Data type '" + std::string(name) + "' is not an enumeration.");
    }
    return enumeration;
}

void EnumStringType::addValue(std::int32_t value, std::string text) {
    std::int32_t other = 0;
    if (isValue(value) || getValue(text.c_str(), other)) {
        raiseError("VELMAR:datatype:duplicateEnumValue",
                   "Enumeration '" + std::string(getName()) + "' has the value '" + text + "' already.");
    }
    mEntries.push_back({value, std::move(text)});
}

const char* EnumStringType::getText(std::int32_t value) const {
    for (const Entry& entry : mEntries) {
        if (entry.value == value) {
            return entry.text.c_str();
        }
    }
    return nullptr;
}

bool EnumStringType::getValue(const char* text, std::int32_t& value) const {
    for (const Entry& entry : mEntries) {
        if (entry.text == text) {
            value = entry.value;
            return true;
        }
    }
    return false;
}

hvArray* EnumStringType::convertToVelmar(const void* value) const {
    const char* const text = value == nullptr ? nullptr : getText(*static_cast<const std::int32_t*>(value));
    if (text == nullptr) {
        raiseBadValue();
    }
    return hvCreateString(text);
}

void* EnumStringType::convertFromVelmar(const hvArray* array) const {
    std::int32_t value = 0;
    if (hostref::isText(array) && getValue(hvArray2String(array).c_str(), value)) {
        return new std::int32_t(value);
    }
    if (isNumberOrLogicalScalar(array)) {
        const double number = hvGetScalar(array);
        const auto found = std::find_if(mEntries.begin(), mEntries.end(),
                                        [number](const Entry& entry) { return entry.value == number; });
        if (found != mEntries.end()) {
            return new std::int32_t(found->value);
        }
    }
    hostref::raiseBadValue("Value " + hostref::inlineText(array, hostref::kLongestGivenText) +
                           " is not valid for data type '" + getName() + "'; it is " +
                           hostref::choicesInstead(*this, array));
}

void EnumStringType::releaseValue(void* value) const {
    delete static_cast<std::int32_t*>(value);
}

// BooleanDataType

BooleanDataType::BooleanDataType() : OMDataType("bool") {}

hvArray* BooleanDataType::convertToVelmar(const void* value) const {
    if (value == nullptr) {
        raiseBadValue();
    }
    return hvCreateLogicalScalar(*static_cast<const std::uint8_t*>(value) != 0);
}

void* BooleanDataType::convertFromVelmar(const hvArray* array) const {
    if (!isNumberOrLogicalScalar(array) || std::isnan(hvGetScalar(array))) {
        raiseBadValue();
    }
    return new std::uint8_t(hvGetScalar(array) != 0.0 ? 1 : 0);
}

void BooleanDataType::releaseValue(void* value) const {
    delete static_cast<std::uint8_t*>(value);
}

// StringType

StringType::StringType() : OMDataType("string") {}

hvArray* StringType::convertToVelmar(const void* value) const {
    return hvCreateString(static_cast<const char*>(value));
}

void* StringType::convertFromVelmar(const hvArray* array) const {
    if (!hostref::isText(array)) {
        raiseBadValue();
    }
    return newText(hvArray2String(array));
}

void StringType::releaseValue(void* value) const {
    bsFree(value);
}

// RealPointType

RealPointType::RealPointType() : OMDataType("real point") {}

hvArray* RealPointType::convertToVelmar(const void* value) const {
    if (value == nullptr) {
        raiseBadValue();
    }
    hvArray* const row = hvCreateDoubleMatrix(1, 2);
    std::ranges::copy(*static_cast<const std::array<double, 2>*>(value), hvGetPr(row));
    return row;
}

void* RealPointType::convertFromVelmar(const hvArray* array) const {
    if (!hvIsNumeric(array) || hvIsComplex(array) || hvGetNumberOfElements(array) != 2) {
        raiseBadValue();
    }
    auto point = std::make_unique<std::array<double, 2>>();
    hvDispatchClass(hvGetClassID(array), [&]<class T>(std::type_identity<T>) {
        std::ranges::transform(hvGetTypedData<T>(array), point->begin(),
                               [](T element) { return static_cast<double>(element); });
    });
    return point.release();
}

void RealPointType::releaseValue(void* value) const {
    delete static_cast<std::array<double, 2>*>(value);
}

// StringVectorType

StringVectorType::StringVectorType() : OMDataType("string vector") {}

hvArray* StringVectorType::convertToVelmar(const void* value) const {
    const auto* const texts = static_cast<const std::vector<std::string>*>(value);
    const std::size_t count = texts == nullptr ? 0 : texts->size();
    hvArrayOwner cells(hvCreateCellMatrix(count, 1));
    for (std::size_t i = 0; i < count; ++i) {
        hvArrayOwner text(hvCreateString((*texts)[i]));
        hvSetCell(cells.get(), i, text.get());
        static_cast<void>(text.release());
    }
    return cells.release();
}

void* StringVectorType::convertFromVelmar(const hvArray* array) const {
    auto texts = std::make_unique<std::vector<std::string>>();
    if (hostref::isText(array)) {
        texts->push_back(hvArray2String(array));
    } else if (hvIsCell(array)) {
        for (std::size_t i = 0; i < hvGetNumberOfElements(array); ++i) {
            const hvArray* const cell = hvGetCell(array, i);
            if (!hostref::isText(cell)) {
                raiseBadValue();
            }
            texts->push_back(hvArray2String(cell));
        }
    } else {
        raiseBadValue();
    }
    return texts.release();
}

void StringVectorType::releaseValue(void* value) const {
    delete static_cast<std::vector<std::string>*>(value);
}

// OMInterfaceType

OMInterfaceType::OMInterfaceType(std::string name, OMClass* objectClass)
    : OMDataType(std::move(name)), mClass(objectClass), mIsAnyClass(objectClass == nullptr) {}

hvArray* OMInterfaceType::convertToVelmar(const void* value) const {
    if (value == nullptr) {
        return hvCreateDoubleMatrix(0, 0);
    }
    // A value is passed as a pointer to void in both directions; a handle is never a const object.
    auto* const interface = static_cast<OMInterface*>(const_cast<void*>(value));
    if (!mIsAnyClass && !interface->getClass()->isDescendantOf(mClass)) {
        raiseBadValue();
    }
    return OMInterfaceArrays::create(interface);
}

void* OMInterfaceType::convertFromVelmar(const hvArray* array) const {
    OMInterface* const interface = OMInterfaceArrays::get(array);
    if (interface == nullptr && OMInterfaceArrays::isNull(array)) {
        return nullptr;
    }
    if (interface == nullptr || (!mIsAnyClass && !interface->getClass()->isDescendantOf(mClass))) {
        raiseBadValue();
    }
    return interface->getReference();
}

void OMInterfaceType::releaseValue(void* value) const {
    OMInterface::operator delete(value);
}

// OMInterfaceVectorType

namespace {

using HandleVector = std::vector<OMInterface*>;

void releaseHandles(HandleVector* handles) {
    if (handles != nullptr) {
        for (OMInterface* const handle : *handles) {
            OMInterface::operator delete(handle);
        }
        delete handles;
    }
}

struct HandleVectorDeleter {
    void operator()(HandleVector* handles) const { releaseHandles(handles); }
};

}  // namespace

OMInterfaceVectorType::OMInterfaceVectorType() : OMDataType("handle vector") {}

hvArray* OMInterfaceVectorType::convertToVelmar(const void* value) const {
    const auto* const handles = static_cast<const HandleVector*>(value);
    const std::size_t count = handles == nullptr ? 0 : handles->size();
    hvArrayOwner cells(hvCreateCellMatrix(count, 1));
    for (std::size_t i = 0; i < count; ++i) {
        OMInterface* const handle = (*handles)[i];
        hvArrayOwner cell(handle == nullptr ? hvCreateDoubleMatrix(0, 0) : OMInterfaceArrays::create(handle));
        hvSetCell(cells.get(), i, cell.get());
        static_cast<void>(cell.release());
    }
    return cells.release();
}

void* OMInterfaceVectorType::convertFromVelmar(const hvArray* array) const {
    std::unique_ptr<HandleVector, HandleVectorDeleter> handles(new HandleVector);
    const bool isCell = hvIsCell(array);
    const std::size_t count = isCell ? hvGetNumberOfElements(array) : 1;
    handles->reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        OMInterface* const handle = OMInterfaceArrays::get(isCell ? hvGetCell(array, i) : array);
        if (handle == nullptr) {
            raiseBadValue();
        }
        handles->push_back(handle->getReference());
    }
    return handles.release();
}

void OMInterfaceVectorType::releaseValue(void* value) const {
    releaseHandles(static_cast<HandleVector*>(value));
}
