#include "host/reference/Value.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ostream>
#include <type_traits>

#include "host/om.h"
#include "host/reference/calls/dispatch.h"
#include "host/reference/objects/ominterfacearrays.h"
#include "host/reference/session/atboundary.h"
#include "host/reference/values/texts.h"

namespace hostref {

namespace {

std::shared_ptr<hvArray> counted(hvArrayOwner array) {
    return {std::move(array)};
}

const hvArray* emptyArray() {
    static const hvArray* const kEmpty = hvCreateDoubleMatrix(0, 0);
    return kEmpty;
}

[[noreturn]] void throwSize() {
    throw HostError("VELMAR:array:dimensions", "The number of elements doesn't fit the dimensions.");
}

template <class Part>
std::vector<double> asDoubles(const hvArray* array, Part part) {
    std::vector<double> values;
    const auto append = [&]<class T>(std::type_identity<T> type) {
        const std::span<const T> data = part(type);
        values.assign(data.begin(), data.end());
    };
    if (hvIsChar(array)) {
        append(std::type_identity<hvChar>{});
    } else if (!hvDispatchClass(hvGetClassID(array), append)) {
        throw HostError("VELMAR:array:notNumericClass",
                        std::string("An array of class '") + hvGetClassName(array) + "' has no numbers.");
    }
    return values;
}

template <class T>
bool samePart(std::span<const T> a, std::span<const T> b) {
    if (a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size_bytes()) == 0)) {
        return true;
    }
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](T x, T y) {
        if constexpr (std::is_floating_point_v<T>) {
            if (std::isnan(x) || std::isnan(y)) {
                return std::isnan(x) && std::isnan(y);
            }
        }
        return x == y;
    });
}

using ArrayPair = std::pair<const hvArray*, const hvArray*>;

/// Compares two arrays, except that children are added to the list of pending comparisons.
bool sameButChildren(const hvArray* a, const hvArray* b, std::vector<ArrayPair>& open) {
    const auto sizesA = hvGetDims(a);
    const auto sizesB = hvGetDims(b);
    if (hvGetClassID(a) != hvGetClassID(b) || hvIsComplex(a) != hvIsComplex(b) ||
        !std::equal(sizesA.begin(), sizesA.end(), sizesB.begin(), sizesB.end())) {
        return false;
    }
    if (hvIsOpaque(a)) {
        return hvGetHandle(a) == hvGetHandle(b);
    }
    if (hvIsCell(a)) {
        for (std::size_t i = 0; i < hvGetNumberOfElements(a); ++i) {
            open.emplace_back(hvGetCell(a, i), hvGetCell(b, i));
        }
        return true;
    }
    if (hvIsStruct(a)) {
        if (hvGetNumberOfFields(a) != hvGetNumberOfFields(b)) {
            return false;
        }
        for (int field = 0; field < hvGetNumberOfFields(a); ++field) {
            const int other = hvGetFieldNumber(b, hvGetFieldNameByNumber(a, field));
            if (other < 0) {
                return false;
            }
            for (std::size_t i = 0; i < hvGetNumberOfElements(a); ++i) {
                open.emplace_back(hvGetFieldByNumber(a, i, field), hvGetFieldByNumber(b, i, other));
            }
        }
        return true;
    }
    bool isSame = true;
    const auto compare = [&]<class T>(std::type_identity<T>) {
        isSame = samePart(hvGetTypedData<T>(a), hvGetTypedData<T>(b)) &&
                 samePart(hvGetTypedImagData<T>(a), hvGetTypedImagData<T>(b));
    };
    if (hvIsChar(a)) {
        compare(std::type_identity<hvChar>{});
    } else {
        hvDispatchClass(hvGetClassID(a), compare);
    }
    return isSame;
}

}  // namespace

Value::Value() = default;

Value::Value(const char* text) : mArray(withHostErrors([&] { return counted(hvArrayOwner(hvCreateString(text))); })) {}

Value::Value(const std::string& text)
    : mArray(withHostErrors([&] { return counted(hvArrayOwner(hvCreateString(text))); })) {}

Value::Value(const std::vector<double>& row) : Value(matrix(1, row.size(), row)) {}

Value::Value(hvArrayOwner array) {
    const Turn turn;
    if (OMInterface* const handle = OMInterfaceArrays::get(array.get())) {
        mInterface = handle->getExternalReference();
    } else {
        mArray = counted(std::move(array));
    }
}

Value::Value(const Value& other) noexcept : mArray(other.mArray), mInterface(other.mInterface) {
    if (mInterface != nullptr) {
        const Turn turn;
        mInterface->getExternalReference();
    }
}

Value::~Value() {
    if (mInterface != nullptr) {
        const Turn turn;
        OMInterfaceArrays::release(mInterface);
    }
}

Value Value::fromDouble(double number) {
    return withHostErrors([&] { return Value(hvArrayOwner(hvCreateDoubleScalar(number))); });
}

Value Value::fromBool(bool flag) {
    return withHostErrors([&] { return Value(hvArrayOwner(hvCreateLogicalScalar(flag))); });
}

Value Value::matrix(std::size_t rows, std::size_t columns, std::span<const double> elements) {
    return withHostErrors([&] {
        hvArrayOwner array(hvCreateDoubleMatrix(rows, columns));
        if (hvGetNumberOfElements(array.get()) != elements.size()) {
            throwSize();
        }
        std::copy(elements.begin(), elements.end(), hvGetPr(array.get()));
        return Value(std::move(array));
    });
}

Value Value::matrix(std::size_t rows, std::size_t columns, std::span<const double> real,
                    std::span<const double> imaginary) {
    return withHostErrors([&] {
        hvArrayOwner array(hvCreateDoubleMatrix(rows, columns, hvCOMPLEX));
        if (hvGetNumberOfElements(array.get()) != real.size() || real.size() != imaginary.size()) {
            throwSize();
        }
        std::copy(real.begin(), real.end(), hvGetPr(array.get()));
        std::copy(imaginary.begin(), imaginary.end(), hvGetPi(array.get()));
        return Value(std::move(array));
    });
}

Value Value::complex(double real, double imaginary) {
    return withHostErrors([&] { return Value(hvArrayOwner(hvCreateComplexScalar(real, imaginary))); });
}

Value Value::cells(std::span<const Value> elements) {
    return withHostErrors([&] {
        hvArrayOwner array(hvCreateCellMatrix(1, elements.size()));
        for (std::size_t i = 0; i < elements.size(); ++i) {
            hvArrayOwner element = elements[i].toArray();
            hvSetCell(array.get(), i, element.get());
            static_cast<void>(element.release());
        }
        return Value(std::move(array));
    });
}

Value Value::share(const hvArray* array) {
    return array == nullptr ? Value() : Value(hvArrayOwner(hvCreateSharedDataCopy(array)));
}

Value Value::hold(OMInterface* interface) {
    const Turn turn;
    Value value;
    value.mInterface = interface == nullptr ? nullptr : interface->getExternalReference();
    return value;
}

Value Value::adopt(OMInterface* interface) {
    const Turn turn;
    Value value = hold(interface);
    OMInterface::operator delete(interface);
    return value;
}

void* Value::object() const {
    return mInterface == nullptr ? nullptr : mInterface->getObject();
}

const hvArray* Value::array() const {
    return mInterface != nullptr ? nullptr : mArray ? mArray.get() : emptyArray();
}

hvArrayOwner Value::toArray() const {
    const Turn turn;
    return withHostErrors([&] {
        return hvArrayOwner(mInterface == nullptr ? hvCreateSharedDataCopy(array())
                                                  : OMInterfaceArrays::create(mInterface));
    });
}

std::string Value::className() const {
    return mInterface == nullptr ? hvGetClassName(array()) : mInterface->getClass()->getFullName();
}

bool Value::isA(const char* className) const {
    return hvIsA(toArray().get(), className);
}

// Reading arrays

namespace {

const hvArray* requireArray(const Value& value) {
    if (value.isObject()) {
        throw HostError("VELMAR:value:notArray", "An object of class '" + value.className() + "' is no array.");
    }
    return value.array();
}

const hvArray* requireDoubles(const Value& value) {
    const hvArray* const array = requireArray(value);
    if (!hvIsDouble(array)) {
        throw HostError("VELMAR:array:wrongClass",
                        std::string("An array of class '") + hvGetClassName(array) + "' has no doubles to look at.");
    }
    return array;
}

}  // namespace

std::vector<std::size_t> Value::dimensions() const {
    const auto sizes = hvGetDims(requireArray(*this));
    return {sizes.begin(), sizes.end()};
}

std::size_t Value::rows() const {
    return hvGetM(requireArray(*this));
}

std::size_t Value::columns() const {
    return hvGetN(requireArray(*this));
}

std::size_t Value::numberOfElements() const {
    return hvGetNumberOfElements(requireArray(*this));
}

bool Value::isEmpty() const {
    return hvIsEmpty(requireArray(*this));
}

bool Value::isComplex() const {
    return hvIsComplex(requireArray(*this));
}

double Value::toDouble() const {
    return withHostErrors([&] { return hvGetScalar(requireArray(*this)); });
}

double Value::toImaginary() const {
    return withHostErrors([&] { return hvGetImagScalar(requireArray(*this)); });
}

bool Value::toBool() const {
    const double first = toDouble();
    return !std::isnan(first) && first != 0.0;
}

std::vector<double> Value::toDoubles() const {
    const hvArray* const array = requireArray(*this);
    return asDoubles(array, [array]<class T>(std::type_identity<T>) { return hvGetTypedData<T>(array); });
}

std::vector<double> Value::toImaginaries() const {
    const hvArray* const array = requireArray(*this);
    return asDoubles(array, [array]<class T>(std::type_identity<T>) { return hvGetTypedImagData<T>(array); });
}

std::span<const double> Value::doubles() const {
    return hvGetTypedData<double>(requireDoubles(*this));
}

std::span<const double> Value::imaginaries() const {
    return hvGetTypedImagData<double>(requireDoubles(*this));
}

std::string Value::toText() const {
    return withHostErrors([&] {
        const hvArray* const array = requireArray(*this);
        if (hvIsChar(array) && !isText(array)) {
            throw HostError("VELMAR:array:severalRows", "A char array of several rows is no text; it has lines.");
        }
        return hvArray2String(array);
    });
}

std::vector<std::string> Value::toLines() const {
    return withHostErrors([&] { return textLines(requireArray(*this)); });
}

Value Value::cell(std::size_t index) const {
    return withHostErrors([&] { return share(hvGetCell(requireArray(*this), index)); });
}

Value Value::field(const char* name) const {
    return withHostErrors([&] {
        const hvArray* const array = requireArray(*this);
        if (hvGetFieldNumber(array, name) < 0) {
            throw HostError(kNoField, noFieldText(name));
        }
        return share(hvGetField(array, 0, name));
    });
}

// Objects

Value Value::get(std::string_view property) const {
    const Turn turn;
    return atBoundary(currentSink(), [&] { return getProperty(requireObject(Argument::of(*this)), property); });
}

void Value::set(std::string_view property, const Value& value) const {
    const Turn turn;
    atBoundary(currentSink(), [&] { setProperty(requireObject(Argument::of(*this)), property, Argument::of(value)); });
}

Value Value::call(std::string_view method, std::initializer_list<Value> arguments) const {
    const Turn turn;
    return atBoundary(currentSink(), [&] {
        requireObject(Argument::of(*this));
        std::vector<Argument> all{Argument::of(*this)};
        for (const Value& argument : arguments) {
            all.push_back(Argument::of(argument));
        }
        std::vector<Value> results = callByName(method, all, Wanted::oneIfAny());
        return results.empty() ? Value() : std::move(results.front());
    });
}

bool operator==(const Value& a, const Value& b) {
    if (a.isObject() || b.isObject()) {
        return a.interface() == b.interface();
    }
    std::vector<ArrayPair> open{{a.array(), b.array()}};
    while (!open.empty()) {
        const ArrayPair pair = open.back();
        open.pop_back();
        if (!sameButChildren(pair.first, pair.second, open)) {
            return false;
        }
    }
    return true;
}

std::ostream& operator<<(std::ostream& out, const Value& value) {
    return out << (value.isObject() ? "[" + value.className() + "]" : inlineText(value.array()));
}

}  // namespace hostref
