// Cells, structs and the dimensions of any array: the parts of an hvArray that can be set.
#include <algorithm>

#include "host/reference/values/array.h"
#include "host/reference/values/texts.h"

std::string hostref::noFieldText(const char* name) {
    return std::string("There is no field '") + (name == nullptr ? "" : name) + "'.";
}

namespace {

void requireClass(const hvArray* array, hvClassID classId, const char* id, const char* what) {
    if (hvGetClassID(array) != classId) {
        raiseError(id, std::string("An array of class '") + hvGetClassName(array) + "' is no " + what + ".");
    }
}

void requireIndex(const hvArray* array, std::size_t index) {
    if (index >= array->elementCount) {
        raiseError("VELMAR:array:badIndex", "Element " + std::to_string(index) + " of an array of " +
                                                std::to_string(array->elementCount) + " elements.");
    }
}

void requireCell(const hvArray* array, std::size_t index) {
    requireClass(array, hvCELL_CLASS, "VELMAR:array:notCell", "cell array");
    requireIndex(array, index);
}

/// Checks an element's field and returns the location of its value.
std::size_t fieldPosition(const hvArray* array, std::size_t index, int fieldNumber) {
    requireClass(array, hvSTRUCT_CLASS, "VELMAR:array:notStruct", "struct array");
    requireIndex(array, index);
    const std::size_t fieldCount = array->children->fieldNames.size();
    if (fieldNumber < 0 || static_cast<std::size_t>(fieldNumber) >= fieldCount) {
        raiseError("VELMAR:array:badIndex",
                   "Field " + std::to_string(fieldNumber) + " of " + std::to_string(fieldCount) + " fields.");
    }
    return index * fieldCount + static_cast<std::size_t>(fieldNumber);
}

void store(hvArray* array, std::size_t position, hvArray* value) {
    if (value == array) {
        raiseError("VELMAR:array:cycle", "An array can't be an element of itself.");
    }
    hostref::withMemory([&] { array->ownChildren(); });
    hvArrayOwner& place = array->children->values[position];
    if (place.get() != value) {
        place.reset(value);
    }
}

hvArray* valueForWriting(hvArray* array, std::size_t position) {
    hostref::withMemory([&] { array->ownChildren(); });
    return array->children->values[position].get();
}

}  // namespace

void hvSetDimensions(hvArray* array, std::size_t dimensionCount, const std::size_t* dimensions) {
    hostref::withMemory([&] {
        std::vector<std::size_t> wanted = hostref::normalizedDimensions({dimensions, dimensionCount});
        if (hostref::checkedCount(wanted) != array->elementCount) {
            raiseError("VELMAR:array:dimensions", "New dimensions must keep the number of elements.");
        }
        array->dimensions = std::move(wanted);
    });
}

const hvArray* hvGetCell(const hvArray* array, std::size_t index) {
    requireCell(array, index);
    return array->children->values[index].get();
}

hvArray* hvGetCell(hvArray* array, std::size_t index) {
    requireCell(array, index);
    return valueForWriting(array, index);
}

void hvSetCell(hvArray* array, std::size_t index, hvArray* value) {
    requireCell(array, index);
    store(array, index, value);
}

int hvGetNumberOfFields(const hvArray* array) {
    return hvIsStruct(array) ? static_cast<int>(array->children->fieldNames.size()) : 0;
}

int hvGetFieldNumber(const hvArray* array, const char* name) {
    if (!hvIsStruct(array) || name == nullptr) {
        return -1;
    }
    const auto& names = array->children->fieldNames;
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? -1 : static_cast<int>(found - names.begin());
}

const char* hvGetFieldNameByNumber(const hvArray* array, int fieldNumber) {
    if (fieldNumber < 0 || fieldNumber >= hvGetNumberOfFields(array)) {
        return nullptr;
    }
    return array->children->fieldNames[static_cast<std::size_t>(fieldNumber)].c_str();
}

int hvAddField(hvArray* array, const char* name) {
    requireClass(array, hvSTRUCT_CLASS, "VELMAR:array:notStruct", "struct array");
    if (const int existing = hvGetFieldNumber(array, name); existing >= 0) {
        return existing;
    }
    return hostref::withMemory([&] {
        array->ownChildren();
        hostref::Children& old = *array->children;
        const std::size_t oldCount = old.fieldNames.size();
        std::vector<std::string> names = old.fieldNames;
        names.emplace_back(name);
        std::vector<hvArrayOwner> values(array->elementCount * names.size());
        for (std::size_t element = 0; element < array->elementCount; ++element) {
            for (std::size_t field = 0; field < oldCount; ++field) {
                values[element * names.size() + field] = std::move(old.values[element * oldCount + field]);
            }
        }
        old.fieldNames = std::move(names);
        old.values = std::move(values);
        return static_cast<int>(oldCount);
    });
}

const hvArray* hvGetField(const hvArray* array, std::size_t index, const char* name) {
    const int fieldNumber = hvGetFieldNumber(array, name);
    return fieldNumber < 0 ? nullptr : hvGetFieldByNumber(array, index, fieldNumber);
}

hvArray* hvGetField(hvArray* array, std::size_t index, const char* name) {
    const int fieldNumber = hvGetFieldNumber(array, name);
    return fieldNumber < 0 ? nullptr : hvGetFieldByNumber(array, index, fieldNumber);
}

const hvArray* hvGetFieldByNumber(const hvArray* array, std::size_t index, int fieldNumber) {
    const std::size_t position = fieldPosition(array, index, fieldNumber);
    return array->children->values[position].get();
}

hvArray* hvGetFieldByNumber(hvArray* array, std::size_t index, int fieldNumber) {
    return valueForWriting(array, fieldPosition(array, index, fieldNumber));
}

void hvSetFieldByNumber(hvArray* array, std::size_t index, int fieldNumber, hvArray* value) {
    store(array, fieldPosition(array, index, fieldNumber), value);
}

void hvSetField(hvArray* array, std::size_t index, const char* name, hvArray* value) {
    requireClass(array, hvSTRUCT_CLASS, "VELMAR:array:notStruct", "struct array");
    const int fieldNumber = hvGetFieldNumber(array, name);
    if (fieldNumber < 0) {
        raiseError(hostref::kNoField, hostref::noFieldText(name));
    }
    hvSetFieldByNumber(array, index, fieldNumber, value);
}
