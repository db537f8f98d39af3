#include "binding/fi/FiOMClass.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "binding/fi/tables.h"
#include "binding/frame/methods.h"
#include "numbers/internal_error.h"

using namespace tolvane::detail;

namespace {

using EmbeddedTypeSystem::NumericType;

constexpr SignatureColumn kConstructors[] = {
    takes(),
    takes(datatypes::kArray),
    takes(datatypes::kArray, datatypes::kArray),
    takes(datatypes::kArray, datatypes::kArray, datatypes::kArray),
};

constexpr const char* kCalledForAnyArgument[] = {
    "and",        "rdivide",       "mrdivide",    "computeDivideType",
    "complex",    "emptyfirstobj", "firstobj",    "cat",
    "horzcat",    "isequal",       "ispropequal", "logreport",
    "max",        "min",           "or",          "todoublecell",
    "vertcat",    "xor",           "histplot",    "area",
    "bar",        "barh",          "clabel",      "comet",
    "comet3",     "compass",       "coneplot",    "contour",
    "contour3",   "contourc",      "contourf",    "conv",
    "errorbar",   "etreeplot",     "ezcontour",   "ezcontourf",
    "ezmesh",     "ezplot",        "ezplot3",     "ezpolar",
    "ezsurf",     "ezsurfc",       "feather",     "fplot",
    "gplot",      "hist",          "histc",       "line",
    "loglog",     "mesh",          "meshc",       "meshz",
    "patch",      "pcolor",        "plot",        "plot3",
    "plotmatrix", "plotyy",        "polar",       "quiver",
    "quiver3",    "rgbplot",       "ribbon",      "rose",
    "scatter",    "scatter3",      "semilogx",    "semilogy",
    "slice",      "spy",           "stairs",      "stem",
    "stem3",      "streamribbon",  "streamslice", "streamtube",
    "surf",       "surfc",         "surfl",       "surfnorm",
    "text",       "treeplot",      "trimesh",     "triplot",
    "trisurf",    "voronoi",       "voronoin",    "waterfall",
    "xlim",       "ylim",          "zlim",
};
static_assert(std::size(kCalledForAnyArgument) == 91);

NumericType typeArgument(const hvArray* value, const hvArray* type) {
    NumericType given(NumericType::convertFromVelmarArray(type));
    if (given.isUnspecifiedScaling()) {
        given.setBestPrecision(value);
    }
    return given;
}

/// Reads a flag in its callers' form: true if the first four bytes of the data, or all if there are fewer, are not all
/// zero.
bool flagArgument(const hvArray* value) {
    std::uint32_t word = 0;
    if (const void* const data = hvGetData(value)) {
        std::memcpy(&word, data, std::min(sizeof word, hvGetNumberOfElements(value) * hvGetElementSize(value)));
    }
    return word != 0;
}

std::unique_ptr<fi> construct(const hvArray* const* arguments, int count) {
    constexpr auto kAssignment = embedded::OperationTypeEnum::Assignment;
    if (count == 0) {
        auto empty = std::make_unique<fi>();
        if (!embedded::getFeatureFimathLessFis()) {
            empty->setFimath(fimath());
        }
        return empty;
    }
    const hvArray* const value = arguments[0];
    if (count == 1) {
        return std::make_unique<fi>(value, NumericType(), fimath(), "", true, kAssignment);
    }
    const NumericType type = typeArgument(value, arguments[1]);
    if (count == 2) {
        return std::make_unique<fi>(value, type, fimath(), "", true, kAssignment);
    }
    if (hvIsA(arguments[2], fimath::getVelmarPackageClassName())) {
        return std::make_unique<fi>(value, type, fimath::convertFromVelmarArray(arguments[2]), "", true, kAssignment);
    }
    return std::make_unique<fi>(value, type, flagArgument(arguments[2]), 0, "", kAssignment);
}

}  // namespace

FiOMClass::FiOMClass(const void* /*first*/, const void* /*second*/, const void* /*third*/, const void* /*fourth*/) {
    raiseInternalError("fixedpoint:fi:FiOMClass:InvalidConstructor",
                       "Tolvane Kit:FiOMClass:Invalid call to dummy constructor.");
}

void FiOMClass::fill() {
    for (std::size_t i = 0; i < mConstructors.size(); ++i) {
        if (mConstructors[i] == nullptr) {
            mConstructors[i] = addConstructorSignature(kConstructors[i].make());
        }
    }
    addFiProperties(*this);
    addFiMethods(*this);
}

OMInterface* FiOMClass::createClassSpecificObject(OMInterface* /*interface*/, void** arguments, int count) {
    errorIfMoreThan(3, count);
    const hvArray* values[3] = {};
    for (int i = 0; i < count; ++i) {
        values[i] = static_cast<const hvArray*>(arguments[i]);
    }
    return wrap(construct(values, count));
}

void FiOMClass::respondToMethodAddedFromVELMAR(OMMethodInfo* method) {
    if (std::ranges::find(kCalledForAnyArgument, std::string_view(method->getName())) !=
        std::end(kCalledForAnyArgument)) {
        method->setDispatchedOnFirstArgument(false);
    }
}

void FiOMClass::setNumericType(fi& object, const NumericType& type) {
    if (type.isequal(object.getNumericType())) {
        // Neither the precision of entries nor the rules of a double array change.
        return;
    }
    if (type.getDataType() != object.getDataType()) {
        object.errorIfBadValue(type.getDataType());
    }
    object.setNumericTypeFromOutside(type);
}
