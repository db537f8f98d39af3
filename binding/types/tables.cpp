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
constexpr PropertyFunctions of = field<Described, get, set>();

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
constexpr PropertyFunctions part = {
    [](const PropertyCall& call) { return handleOf(std::invoke(get, call.object<Composite>())); },
    [](const PropertyCall& call, const void* value) {
        std::invoke(set, call.object<Composite>(), typeIn<Records...>(value));
    }};
template <class Composite, class... Records>
constexpr PropertyFunctions base = part<Composite, &Composite::getBaseType, &Composite::setBaseType, Records...>;

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
constexpr PropertyRow typeProperties[] = {
    {"Path",          text,         "-g-G---v", {emptyPath, nullptr}},
    {"Identifier",    text,         "sgSGzclv", of<&Type::getIdentifier, &Type::setIdentifier, Type>},
    {"Name",          text,         "sgSGzclv", of<&Type::getName, &Type::setName, Type>},
    {"ReadOnly",      boolean,      "sgSGzclv", of<&Type::getReadOnly, &Type::setReadOnly, Type>},
    {"Volatile",      boolean,      "sgSGzclv", of<&Type::getVolatile, &Type::setVolatile, Type>},
};
constexpr PropertyRow charProperties[] = {
    {"WordLength",    int32,        "sgSGzclv", of<&CharType::getNumBits, &CharType::setNumBits, CharType>},
    {"Signed",        boolean,      "sgSGzclv", of<&CharType::getSignedNess, &CharType::setSignedNess, CharType>},
};
constexpr PropertyRow enumProperties[] = {
    {"Strings",       stringVector, "sgSGzclv", of<&FIEnumType::getStrings, &FIEnumType::setStrings, FIEnumType>},
    {"Values",        array,        "sgSGzclv", of<copyOf<FIEnumType, &FIEnumType::getHvValues>, &FIEnumType::setHvValues, FIEnumType>},
    {"WordLength",    int32,        "sgSGzclv", of<&FIEnumType::getNumBits, &FIEnumType::setNumBits, FIEnumType>},
    {"Signed",        boolean,      "sgSGzclv", of<&FIEnumType::getSignedNess, &FIEnumType::setSignedNess, FIEnumType>},
    {"DefaultMember", int32,        "sgSGzclv", of<&FIEnumType::getDefaultMember, &FIEnumType::setDefaultMember, FIEnumType>},
};
constexpr PropertyRow complexProperties[] = {
    {"BaseType",      handle,       "sgSGzclv", base<ComplexType, NumericTypeOMClass, StructTypeOMC>},
};
constexpr PropertyRow matrixProperties[] = {
    {"BaseType",      handle,       "sgSGzclv", base<MatrixType, TypeOMC>},
    {"Dimensions",    array,        "sgSGzclv", of<copyOf<MatrixType, &MatrixType::getDims>, setDimensions, MatrixType>},
    {"FrameData",     boolean,      "sgSGzclv", of<&MatrixType::getFrameData, &MatrixType::setFrameData, MatrixType>},
};
constexpr PropertyRow pointerProperties[] = {
    {"BaseType",      handle,       "sgSGzclv", base<PointerType, TypeOMC>},
};
constexpr PropertyRow structProperties[] = {
    {"Elements",      handleVector, "sgSGzclv", {getElements, setElements}},
};
constexpr PropertyRow elementProperties[] = {
    {"Identifier",    text,         "sgSGzclv", of<&StructElement::getIdentifier, &StructElement::setIdentifier, StructElement>},
    {"Type",          handle,       "sgSGzclv", part<StructElement, &StructElement::getType, &StructElement::setType, TypeOMC>},
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
    const hvArrayOwner wrapped(omdtConvertToVelmar(handle.find(), object));
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

constexpr SignatureColumn handleToNothing[] = {takes(handle)};
constexpr SignatureColumn handleToReal[] = {takes(handle).to(real)};
constexpr SignatureColumn handleToBool[] = {takes(handle).to(boolean)};

// Name, how its record is made.
constexpr MethodRow typeMethods[] = {
    {"disp", plain<handleToNothing, display<TypeOMC>>},
    {"getWidth", plain<handleToReal, giveWidth>},
    {"isScalar", plain<handleToBool, answer<&Type::isScalar>>},
    {"isComplex", plain<handleToBool, answer<&Type::isComplex>>},
    {"isStructure", plain<handleToBool, answer<&Type::isStructure>>},
    {"isMatrix", plain<handleToBool, answer<&Type::isMatrix>>},
    {"isVoid", plain<handleToBool, answer<&Type::isVoid>>},
    {"isOpaque", plain<handleToBool, answer<&Type::isOpaque>>},
    {"isPointer", plain<handleToBool, answer<&Type::isPointer>>},
};
constexpr MethodRow elementMethods[] = {
    {"disp", plain<handleToNothing, display<StructElementOMC>>},
};

// Class, its properties, its methods; other classes have none of their own.
constexpr struct {
    std::string_view className;
    std::span<const PropertyRow> properties;
    std::span<const MethodRow> methods;
} tables[] = {
    {"type", typeProperties, typeMethods}, {"chartype", charProperties, {}},
    {"enumtype", enumProperties, {}},      {"complextype", complexProperties, {}},
    {"matrixtype", matrixProperties, {}},  {"pointertype", pointerProperties, {}},
    {"structtype", structProperties, {}},  {"structelement", elementProperties, elementMethods},
};

}  // namespace

void tolvane::detail::fillTypeClass(OMClass& objectClass) {
    for (const auto& table : tables) {
        if (table.className == objectClass.getName()) {
            addProperties(objectClass, table.properties);
            addMethods(objectClass, table.methods);
        }
    }
}
