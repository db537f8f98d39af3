// The properties and methods of the classes of C-like types.
#include <memory>
#include <span>
#include <string_view>

#include "binding/frame/methods.h"
#include "binding/frame/properties.h"
#include "binding/numerictype/NumericTypeOMClass.h"
#include "binding/types/type_classes.h"
#include "host/Vector.h"
#include "host/bs.h"
#include "host/hi.h"
#include "typesystem/memory.h"

using namespace tolvane::detail;

namespace {

using namespace EmbeddedTypeSystem;
using namespace datatypes;

// Properties

template <auto get, auto set, class Described>
constexpr PropertyFunctions kOf = field<Described, get, set>();

/// No object of the package has a place in a database, which would be its path.
void* emptyPath(const PropertyCall& /*call*/) {
    return Shape<const char*>::box(nullptr);
}

/// The handle of the descriptor itself, which is made when there is none; null for no type.
void* handleOf(Type* type) {
    return type == nullptr ? nullptr : type->getOMI()->getReference();
}

/// The descriptor of a handle, which travels as a pointer to void. Raises "embeddedtype:basetype:invalidobject" for an
/// object of another class.
template <class... Records>
Type* typeIn(const void* value) {
    auto* const handle = static_cast<OMInterface*>(const_cast<void*>(value));
    if (!(handle->getClass()->isDescendantOf(Records::getInstance()) || ...)) {
        raiseError("embeddedtype:basetype:invalidobject", "Parameter must be a valid type object.");
    }
    return objectOf<Type>(handle);
}

/// The type that another is made from, of the class of one of the records or of a class below.
template <class Composite, auto get, auto set, class... Records>
constexpr PropertyFunctions kPart = {
    [](const PropertyCall& call) { return handleOf(std::invoke(get, call.object<Composite>())); },
    [](const PropertyCall& call, const void* value) {
        std::invoke(set, call.object<Composite>(), typeIn<Records...>(value));
    }};
template <class Composite, class... Records>
constexpr PropertyFunctions kBase = kPart<Composite, &Composite::getBaseType, &Composite::setBaseType, Records...>;

template <class Described, auto get>
hvArray* copyOf(const Described& type) {
    return duplicateOf(std::invoke(get, type)).release();
}
void setDimensions(MatrixType& matrix, const hvArray* dimensions) {
    matrix.setDims(dimensions);
}

void* getElements(const PropertyCall& call) {
    auto handles = std::make_unique<Vector>(call.object<StructType>().getElements());
    for (OMInterface* const handle : *handles) {
        if (handle != nullptr) {
            handle->getReference();
        }
    }
    return handles.release();
}
void setElements(const PropertyCall& call, const void* value) {
    call.object<StructType>().setElements(static_cast<const Vector*>(value));
}

// clang-format off
// Name, data type, access (the letters of AccessColumn), how it is read and written.
constexpr PropertyRow kTypeProperties[] = {
    {"Path",          kText,         "-g-G---v", {emptyPath, nullptr}},
    {"Identifier",    kText,         "sgSGzclv", kOf<&Type::getIdentifier, &Type::setIdentifier, Type>},
    {"Name",          kText,         "sgSGzclv", kOf<&Type::getName, &Type::setName, Type>},
    {"ReadOnly",      kBoolean,      "sgSGzclv", kOf<&Type::getReadOnly, &Type::setReadOnly, Type>},
    {"Volatile",      kBoolean,      "sgSGzclv", kOf<&Type::getVolatile, &Type::setVolatile, Type>},
};
constexpr PropertyRow kCharProperties[] = {
    {"WordLength",    kInt32,        "sgSGzclv", kOf<&CharType::getNumBits, &CharType::setNumBits, CharType>},
    {"Signed",        kBoolean,      "sgSGzclv", kOf<&CharType::getSignedNess, &CharType::setSignedNess, CharType>},
};
constexpr PropertyRow kEnumProperties[] = {
    {"Strings",       kStringVector, "sgSGzclv", kOf<&FIEnumType::getStrings, &FIEnumType::setStrings, FIEnumType>},
    {"Values",        kArray,        "sgSGzclv", kOf<copyOf<FIEnumType, &FIEnumType::getHvValues>, &FIEnumType::setHvValues, FIEnumType>},
    {"WordLength",    kInt32,        "sgSGzclv", kOf<&FIEnumType::getNumBits, &FIEnumType::setNumBits, FIEnumType>},
    {"Signed",        kBoolean,      "sgSGzclv", kOf<&FIEnumType::getSignedNess, &FIEnumType::setSignedNess, FIEnumType>},
    {"DefaultMember", kInt32,        "sgSGzclv", kOf<&FIEnumType::getDefaultMember, &FIEnumType::setDefaultMember, FIEnumType>},
};
constexpr PropertyRow kComplexProperties[] = {
    {"BaseType",      kHandle,       "sgSGzclv", kBase<ComplexType, NumericTypeOMClass, StructTypeOMC>},
};
constexpr PropertyRow kMatrixProperties[] = {
    {"BaseType",      kHandle,       "sgSGzclv", kBase<MatrixType, TypeOMC>},
    {"Dimensions",    kArray,        "sgSGzclv", kOf<copyOf<MatrixType, &MatrixType::getDims>, setDimensions, MatrixType>},
    {"FrameData",     kBoolean,      "sgSGzclv", kOf<&MatrixType::getFrameData, &MatrixType::setFrameData, MatrixType>},
};
constexpr PropertyRow kPointerProperties[] = {
    {"BaseType",      kHandle,       "sgSGzclv", kBase<PointerType, TypeOMC>},
};
constexpr PropertyRow kStructProperties[] = {
    {"Elements",      kHandleVector, "sgSGzclv", {getElements, setElements}},
};
constexpr PropertyRow kElementProperties[] = {
    {"Identifier",    kText,         "sgSGzclv", kOf<&StructElement::getIdentifier, &StructElement::setIdentifier, StructElement>},
    {"Type",          kHandle,       "sgSGzclv", kPart<StructElement, &StructElement::getType, &StructElement::setType, TypeOMC>},
};
// clang-format on

// Methods

/// The handle of the first argument; raises "VELMAR:class:WrongObjectType" for one of another class.
template <class Record>
OMInterface* handleIn(const MethodCall& call) {
    auto* const given = static_cast<OMInterface*>(call.arguments[0]);
    errorIfNotOfClass(given, Record::getInstance()->getFullName());
    return given;
}

/// Calls a function of the host's language.
hvArrayOwner callHost(const char* function, int resultCount, hvArray* argument) {
    const hvArrayOwner name = ownedArray([function] { return hvCreateString(function); });
    hvArray* arguments[] = {name.get(), argument};
    hvArray* result = nullptr;
    hiFullFevalFcn(resultCount, &result, 2, arguments);
    return hvArrayOwner(result);
}

/// Prints the name of the class, and the properties as the host shows them.
template <class Record>
void display(const MethodCall& call) {
    OMInterface* const object = handleIn<Record>(call);
    bsPrintf("%s.%s\n", embedded::getEmbeddedPackageName(), object->getClass()->getName());
    const hvArrayOwner wrapped(omdtConvertToVelmar(kHandle.find(), object));
    callHost("disp", 0, callHost("get", 1, wrapped.get()).get());
    call.giveNothing();
}

template <auto predicate>
void answer(const MethodCall& call) {
    call.give(Shape<bool>::box(std::invoke(predicate, *objectOf<Type>(handleIn<TypeOMC>(call))) != 0));
}
void giveWidth(const MethodCall& call) {
    call.give(Shape<double>::box(static_cast<double>(objectOf<Type>(handleIn<TypeOMC>(call))->getWidth())));
}

constexpr SignatureColumn kHandleToNothing[] = {takes(kHandle)};
constexpr SignatureColumn kHandleToReal[] = {takes(kHandle).to(kReal)};
constexpr SignatureColumn kHandleToBool[] = {takes(kHandle).to(kBoolean)};

// Name, how its record is made.
constexpr MethodRow kTypeMethods[] = {
    {"disp", plain<kHandleToNothing, display<TypeOMC>>},
    {"getWidth", plain<kHandleToReal, giveWidth>},
    {"isScalar", plain<kHandleToBool, answer<&Type::isScalar>>},
    {"isComplex", plain<kHandleToBool, answer<&Type::isComplex>>},
    {"isStructure", plain<kHandleToBool, answer<&Type::isStructure>>},
    {"isMatrix", plain<kHandleToBool, answer<&Type::isMatrix>>},
    {"isVoid", plain<kHandleToBool, answer<&Type::isVoid>>},
    {"isOpaque", plain<kHandleToBool, answer<&Type::isOpaque>>},
    {"isPointer", plain<kHandleToBool, answer<&Type::isPointer>>},
};
constexpr MethodRow kElementMethods[] = {
    {"disp", plain<kHandleToNothing, display<StructElementOMC>>},
};

// Class, its properties, its methods; other classes have none of their own.
constexpr struct {
    std::string_view className;
    std::span<const PropertyRow> properties;
    std::span<const MethodRow> methods;
} kTables[] = {
    {"type", kTypeProperties, kTypeMethods}, {"chartype", kCharProperties, {}},
    {"enumtype", kEnumProperties, {}},       {"complextype", kComplexProperties, {}},
    {"matrixtype", kMatrixProperties, {}},   {"pointertype", kPointerProperties, {}},
    {"structtype", kStructProperties, {}},   {"structelement", kElementProperties, kElementMethods},
};

}  // namespace

void tolvane::detail::fillTypeClass(OMClass& objectClass) {
    for (const auto& table : kTables) {
        if (table.className == objectClass.getName()) {
            addProperties(objectClass, table.properties);
            addMethods(objectClass, table.methods);
        }
    }
}
