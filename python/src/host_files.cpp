// Files of the host's variables: values of Python become variables of a session, and the reverse.
//
// This extension has an engine of its own, bound to the reference host, beside that of `_core`; none of its symbols is
// visible outside. So words cross by buffers, and no object of one engine ever meets the other. A value crosses as a
// tuple whose first element says what it is; `tolvane/_files.py` makes and reads them:
//
//     ("array", class, dimensions, real, imaginary or None)      plain data in the host's order
//     ("fi", type, dimensions, real, imaginary or None, tag, rules or None)    words as limbs of 64 bits
//     ("type", type)                                             (signed, bits, factor, exponent, bias)
//     ("format", signed, bits, fraction, rounding, overflow, tag)
//     ("cell", dimensions, values)
//     ("struct", dimensions, names, values field by field)
//     ("object", class, bytes of a file that holds it)
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "binding/module.h"
#include "host/ErrorIdException.h"
#include "host/om.h"
#include "host/reference/Session.h"

namespace tolvane::python {

namespace py = pybind11;
using hostref::HostError;
using hostref::Session;
using hostref::Value;

namespace {

using Dimensions = std::vector<std::size_t>;

PyObject* sMakeError = nullptr;

/// The session of the process, made by the first call. It is never destroyed: the host stops its modules itself.
Session& session() {
    static Session& made = *new Session(hostref::Module{"tolvane", &VLInitialize_tolvane, &VLTerminate_tolvane});
    return made;
}

[[noreturn]] void raise(const std::string& id, const std::string& text) {
    throw HostError(id, text);
}

std::string textOf(py::handle text) {
    return text.cast<std::string>();
}

// Memory

constexpr int kLimbBits = 64;
constexpr int kChunkBits = 32;

/// Bytes of another object, which stay as they are while this lives.
class Bytes {
 public:
    explicit Bytes(py::handle source) {
        if (PyObject_GetBuffer(source.ptr(), &mView, PyBUF_C_CONTIGUOUS) != 0) {
            throw py::error_already_set();
        }
    }
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
    ~Bytes() { PyBuffer_Release(&mView); }
    std::span<const std::byte> all() const {
        return {static_cast<const std::byte*>(mView.buf), static_cast<std::size_t>(mView.len)};
    }

 private:
    Py_buffer mView{};
};

/// New bytes that Python owns, to be filled.
class NewBytes {
 public:
    explicit NewBytes(std::size_t size)
        : mObject(py::reinterpret_steal<py::object>(
              PyByteArray_FromStringAndSize(nullptr, static_cast<py::ssize_t>(size)))) {
        if (!mObject) {
            throw py::error_already_set();
        }
    }
    char* data() const { return PyByteArray_AS_STRING(mObject.ptr()); }
    const py::object& object() const { return mObject; }

 private:
    py::object mObject;
};

py::object copied(const void* data, std::size_t bytes) {
    const NewBytes made(bytes);
    if (bytes > 0) {
        std::memcpy(made.data(), data, bytes);
    }
    return made.object();
}

std::size_t productOf(const Dimensions& dimensions) {
    std::size_t product = 1;
    for (const std::size_t size : dimensions) {
        product *= size;
    }
    return product;
}

void errorIfOtherSize(const Bytes& bytes, std::size_t wanted) {
    if (bytes.all().size() != wanted) {
        throw py::value_error("A buffer has another size than its dimensions say.");
    }
}

// Arrays of plain data

struct NamedClass {
    std::string_view name;
    hvClassID id;
};
constexpr std::array kClasses{
    NamedClass{"double", hvDOUBLE_CLASS}, NamedClass{"single", hvSINGLE_CLASS},   NamedClass{"int8", hvINT8_CLASS},
    NamedClass{"uint8", hvUINT8_CLASS},   NamedClass{"int16", hvINT16_CLASS},     NamedClass{"uint16", hvUINT16_CLASS},
    NamedClass{"int32", hvINT32_CLASS},   NamedClass{"uint32", hvUINT32_CLASS},   NamedClass{"int64", hvINT64_CLASS},
    NamedClass{"uint64", hvUINT64_CLASS}, NamedClass{"logical", hvLOGICAL_CLASS}, NamedClass{"char", hvCHAR_CLASS}};

hvClassID classNamed(const std::string& name) {
    const auto* const found = std::ranges::find(kClasses, name, &NamedClass::name);
    if (found == kClasses.end()) {
        throw py::value_error("There is no class '" + name + "' of plain data.");
    }
    return found->id;
}

hvArrayOwner plainArray(hvClassID id, const Dimensions& dimensions, bool isComplex) {
    hvArray* const made = id == hvLOGICAL_CLASS ? hvCreateLogicalArray(dimensions.size(), dimensions.data())
                          : id == hvCHAR_CLASS  ? hvCreateCharArray(dimensions.size(), dimensions.data())
                                                : hvCreateNumericArray(dimensions.size(), dimensions.data(), id,
                                                                      isComplex ? hvCOMPLEX : hvREAL);
    return hvArrayOwner(made);
}

void fill(void* part, std::size_t bytes, py::handle source) {
    const Bytes given(source);
    errorIfOtherSize(given, bytes);
    if (bytes > 0) {
        std::memcpy(part, given.all().data(), bytes);
    }
}

hvArrayOwner arrayFrom(const py::tuple& value) {
    const auto dimensions = value[2].cast<Dimensions>();
    const bool isComplex = !value[4].is_none();
    hvArrayOwner made = plainArray(classNamed(textOf(value[1])), dimensions, isComplex);
    const std::size_t bytes = hvGetNumberOfElements(made.get()) * hvGetElementSize(made.get());
    fill(hvGetData(made.get()), bytes, value[3]);
    if (isComplex) {
        fill(hvGetImagData(made.get()), bytes, value[4]);
    }
    return made;
}

py::tuple dimensionsOf(const hvArray* array) {
    const auto dimensions = hvGetDims(array);
    py::tuple made(dimensions.size());
    for (std::size_t i = 0; i < dimensions.size(); ++i) {
        made[i] = dimensions[i];
    }
    return made;
}

py::tuple tupleOfArray(const hvArray* array) {
    const std::size_t bytes = hvGetNumberOfElements(array) * hvGetElementSize(array);
    const py::object imaginary = hvIsComplex(array) ? copied(hvGetImagData(array), bytes) : py::object(py::none());
    return py::make_tuple("array", hvGetClassName(array), dimensionsOf(array), copied(hvGetData(array), bytes),
                          imaginary);
}

// Types

constexpr const char* kBinaryPoint = "Fixed-point: binary point scaling";
constexpr const char* kSlopeBias = "Fixed-point: slope and bias scaling";

/// Words that stand for factor * 2^exponent * word + bias.
struct WordType {
    bool isSigned = true;
    int bits = 0;
    double factor = 1;
    int exponent = 0;
    double bias = 0;

    bool isBinaryPoint() const { return factor == 1 && bias == 0; }
    std::size_t limbs() const { return (static_cast<std::size_t>(bits) + kLimbBits - 1) / kLimbBits; }
    bool isChunked() const { return bits > kChunkBits; }
    std::size_t chunks() const { return (static_cast<std::size_t>(bits) + kChunkBits - 1) / kChunkBits; }
    py::tuple tuple(bool isSlopeBias) const {
        return py::make_tuple(isSigned, bits, factor, exponent, bias, isSlopeBias);
    }
};

WordType wordTypeFrom(py::handle type) {
    const auto parts = type.cast<py::tuple>();
    return {parts[0].cast<bool>(), parts[1].cast<int>(), parts[2].cast<double>(), parts[3].cast<int>(),
            parts[4].cast<double>()};
}

Value typeObject(py::handle type) {
    const WordType given = wordTypeFrom(type);
    Value made = session().construct("embedded.numerictype");
    if (type.cast<py::tuple>()[5].cast<bool>()) {
        made.set("DataTypeMode", kSlopeBias);
    }
    made.set("SignednessBool", given.isSigned);
    made.set("WordLength", given.bits);
    made.set("FixedExponent", given.exponent);
    if (!given.isBinaryPoint()) {
        made.set("SlopeAdjustmentFactor", given.factor);
        made.set("Bias", given.bias);
    }
    return made;
}

/// The type of words; nothing for a type of floats or without sign or scaling, or with more than a type says.
std::optional<py::tuple> tupleOfType(const Value& type) {
    const std::string mode = type.get("DataTypeModeNoWarning").toText();
    const Value isSigned = type.get("SignednessBool");
    if ((mode != kBinaryPoint && mode != kSlopeBias) || isSigned.isEmpty() ||
        type.get("DataTypeOverride").toText() != "Inherit" || !type.get("Identifier").isEmpty() ||
        type.get("ReadOnly").toBool() || type.get("Volatile").toBool()) {
        return {};
    }
    const WordType made{isSigned.toBool(), static_cast<int>(type.get("WordLength").toDouble()),
                        type.get("SlopeAdjustmentFactor").toDouble(),
                        static_cast<int>(type.get("FixedExponent").toDouble()), type.get("Bias").toDouble()};
    return made.tuple(mode == kSlopeBias);
}

// Words

/// Stores limbs, which repeat the sign above the bits, as integers of a class of at most 32 bits.
template <class Integer>
void narrow(std::span<const std::byte> limbs, void* out) {
    for (std::size_t i = 0; i < limbs.size() / sizeof(std::uint64_t); ++i) {
        std::uint64_t limb = 0;
        std::memcpy(&limb, limbs.data() + i * sizeof limb, sizeof limb);
        static_cast<Integer*>(out)[i] = static_cast<Integer>(limb);
    }
}

/// Stores limbs as chunks of 32 bits, with zeros above the bits.
void writeChunks(std::span<const std::byte> limbs, const WordType& type, std::uint32_t* out) {
    const std::size_t chunks = type.chunks();
    const std::size_t limbBytes = type.limbs() * sizeof(std::uint64_t);
    const int topBits = type.bits % kChunkBits;
    const std::uint32_t topMask = topBits == 0 ? UINT32_MAX : (std::uint32_t{1} << topBits) - 1;
    for (std::size_t word = 0; word < limbs.size() / limbBytes; ++word) {
        std::memcpy(out + word * chunks, limbs.data() + word * limbBytes, chunks * sizeof(std::uint32_t));
        out[(word + 1) * chunks - 1] &= topMask;
    }
}

/// The class of stored integers of at most 32 bits, and of chunks.
hvClassID classOfWords(const WordType& type) {
    if (type.isChunked()) {
        return hvUINT32_CLASS;
    }
    if (type.bits <= 8) {
        return type.isSigned ? hvINT8_CLASS : hvUINT8_CLASS;
    }
    if (type.bits <= 16) {
        return type.isSigned ? hvINT16_CLASS : hvUINT16_CLASS;
    }
    return type.isSigned ? hvINT32_CLASS : hvUINT32_CLASS;
}

void writeWords(py::handle source, std::size_t count, const WordType& type, hvClassID id, void* out) {
    const Bytes given(source);
    errorIfOtherSize(given, count * type.limbs() * sizeof(std::uint64_t));
    if (count == 0) {
        return;
    }
    if (type.isChunked()) {
        writeChunks(given.all(), type, static_cast<std::uint32_t*>(out));
        return;
    }
    hvDispatchClass(id, [&](auto element) { narrow<typename decltype(element)::type>(given.all(), out); });
}

py::object limbsOfChunks(const std::uint32_t* chunks, std::size_t count, const WordType& type) {
    const std::size_t limbBytes = type.limbs() * sizeof(std::uint64_t);
    const std::size_t chunkCount = type.chunks();
    const NewBytes made(count * limbBytes);
    const int top = (type.bits - 1) % kLimbBits;
    for (std::size_t word = 0; word < count; ++word) {
        char* const out = made.data() + word * limbBytes;
        std::memset(out, 0, limbBytes);
        std::memcpy(out, chunks + word * chunkCount, chunkCount * sizeof(std::uint32_t));
        std::uint64_t last = 0;
        char* const lastPlace = out + limbBytes - sizeof last;
        std::memcpy(&last, lastPlace, sizeof last);
        if (type.isSigned && (last >> top & 1) != 0) {
            last |= ~std::uint64_t{0} << top;
            std::memcpy(lastPlace, &last, sizeof last);
        }
    }
    return made.object();
}

py::object limbsOf(const hvArray* words, const void* part, std::size_t count, const WordType& type) {
    if (type.isChunked()) {
        return limbsOfChunks(static_cast<const std::uint32_t*>(part), count, type);
    }
    const NewBytes made(count * sizeof(std::int64_t));
    hvDispatchClass(hvGetClassID(words), [&](auto element) {
        using Integer = typename decltype(element)::type;
        for (std::size_t i = 0; i < count; ++i) {
            const Integer given = static_cast<const Integer*>(part)[i];
            const auto word = static_cast<std::int64_t>(given);  // NOLINT(bugprone-signed-char-misuse): signed as meant
            std::memcpy(made.data() + i * sizeof word, &word, sizeof word);
        }
    });
    return made.object();
}

// Rules

/// What rules say, in the order of their class.
constexpr std::array kRules{"RoundMode",
                            "OverflowMode",
                            "ProductMode",
                            "ProductWordLength",
                            "MaxProductWordLength",
                            "ProductFixedExponent",
                            "ProductSlopeAdjustmentFactor",
                            "ProductBias",
                            "SumMode",
                            "SumWordLength",
                            "MaxSumWordLength",
                            "SumFixedExponent",
                            "SumSlopeAdjustmentFactor",
                            "SumBias",
                            "CastBeforeSum"};

Value plainValue(py::handle value) {
    if (PyBool_Check(value.ptr())) {
        return Value(value.cast<bool>());
    }
    return PyUnicode_Check(value.ptr()) ? Value(textOf(value)) : Value(value.cast<double>());
}

Value rulesFrom(const py::dict& settings) {
    Value made = session().construct("embedded.fimath");
    for (const auto& [name, value] : settings) {
        made.set(textOf(name), plainValue(value));
    }
    return made;
}

py::object plainObject(const Value& value) {
    const std::string className = value.className();
    if (className == "char") {
        return py::str(value.toText());
    }
    if (className == "logical") {
        return py::bool_(value.toBool());
    }
    return className == "double" ? py::object(py::float_(value.toDouble()))
                                 : py::object(py::int_(static_cast<long>(value.toDouble())));
}

py::dict dictOfRules(const Value& rules) {
    py::dict made;
    for (const char* const name : kRules) {
        made[name] = plainObject(rules.get(name));
    }
    return made;
}

// Arrays of fixed-point words

Value fiFrom(const py::tuple& value) {
    const WordType type = wordTypeFrom(value[1]);
    auto dimensions = value[2].cast<Dimensions>();
    const std::size_t count = productOf(dimensions);
    const bool isComplex = !value[4].is_none();
    dimensions.front() *= type.isChunked() ? type.chunks() : 1;
    const hvClassID id = classOfWords(type);
    hvArrayOwner words = plainArray(id, dimensions, isComplex);
    writeWords(value[3], count, type, id, hvGetData(words.get()));
    if (isComplex) {
        writeWords(value[4], count, type, id, hvGetImagData(words.get()));
    }
    Value made = session().construct("embedded.fi", {Value(), typeObject(value[1])});
    made.set("intarray", Value(std::move(words)));
    if (const std::string tag = textOf(value[5]); !tag.empty()) {
        made.set("Tag", tag);
    }
    made.set("fimath", value[6].is_none() ? Value() : rulesFrom(value[6].cast<py::dict>()));
    return made;
}

std::optional<py::tuple> tupleOfFi(const Value& object) {
    const std::optional<py::tuple> type = tupleOfType(object.get("numerictype"));
    if (!type) {
        return {};
    }
    const WordType wordType = wordTypeFrom(*type);
    const Value words = object.get("intarray");
    const hvArray* const array = words.array();
    auto dimensions = words.dimensions();
    dimensions.front() /= wordType.isChunked() ? wordType.chunks() : 1;
    const std::size_t count = productOf(dimensions);
    const py::object imaginary =
        words.isComplex() ? limbsOf(array, hvGetImagData(array), count, wordType) : py::object(py::none());
    const py::object rules =
        object.get("fimathislocal").toBool() ? py::object(dictOfRules(object.get("fimath"))) : py::object(py::none());
    return py::make_tuple("fi", *type, py::tuple(py::cast(dimensions)),
                          limbsOf(array, hvGetData(array), count, wordType), imaginary, object.get("Tag").toText(),
                          rules);
}

// Formats are quantizers there.

Value quantizerFrom(const py::tuple& value) {
    Value made = session().construct("embedded.quantizer");
    made.set("mode", value[1].cast<bool>() ? "fixed" : "ufixed");
    made.set("format", Value(std::vector<double>{value[2].cast<double>(), value[3].cast<double>()}));
    made.set("roundmode", textOf(value[4]));
    made.set("overflowmode", textOf(value[5]));
    made.set("Tag", textOf(value[6]));
    return made;
}

std::optional<py::tuple> tupleOfQuantizer(const Value& object) {
    const std::string mode = object.get("mode").toText();
    if (mode != "fixed" && mode != "ufixed") {
        return {};
    }
    const std::vector<double> format = object.get("format").toDoubles();
    return py::make_tuple("format", mode == "fixed", static_cast<int>(format.at(0)), static_cast<int>(format.at(1)),
                          object.get("roundmode").toText(), object.get("overflowmode").toText(),
                          object.get("Tag").toText());
}

// Values

Value restored(py::handle bytes) {
    const Bytes given(bytes);
    return hostref::loadedVariables(given.all(), hostref::SharedState::keep).at(0).value;
}

py::tuple tupleOf(const Value& value);

py::tuple tupleOfObject(const Value& object) {
    const std::string className = object.className();
    std::optional<py::tuple> made = className == "embedded.fi"            ? tupleOfFi(object)
                                    : className == "embedded.numerictype" ? tupleOfType(object)
                                    : className == "embedded.quantizer"   ? tupleOfQuantizer(object)
                                                                          : std::nullopt;
    if (made) {
        return className == "embedded.numerictype" ? py::make_tuple("type", *made) : *made;
    }
    const hostref::Variable variable{"value", object};
    const std::vector<std::byte> bytes = hostref::savedBytes(std::span(&variable, 1));
    return py::make_tuple("object", className, py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

/// An element that was never set reads as an empty array of doubles.
py::tuple tupleOfElement(const hvArray* element) {
    return tupleOf(Value::share(element));
}

py::tuple tupleOf(const Value& value) {
    if (value.isObject()) {
        return tupleOfObject(value);
    }
    const hvArray* const array = value.array();
    const std::size_t count = hvGetNumberOfElements(array);
    if (hvIsCell(array)) {
        py::list elements;
        for (std::size_t i = 0; i < count; ++i) {
            elements.append(tupleOfElement(hvGetCell(array, i)));
        }
        return py::make_tuple("cell", dimensionsOf(array), elements);
    }
    if (hvIsStruct(array)) {
        py::list names;
        py::list values;
        for (int field = 0; field < hvGetNumberOfFields(array); ++field) {
            names.append(py::str(hvGetFieldNameByNumber(array, field)));
            for (std::size_t i = 0; i < count; ++i) {
                values.append(tupleOfElement(hvGetFieldByNumber(array, i, field)));
            }
        }
        return py::make_tuple("struct", dimensionsOf(array), names, values);
    }
    return tupleOfArray(array);
}

Value valueFrom(py::handle given);

hvArrayOwner cellFrom(const py::tuple& value) {
    const auto dimensions = value[1].cast<Dimensions>();
    const auto elements = value[2].cast<py::list>();
    hvArrayOwner made(hvCreateCellArray(dimensions.size(), dimensions.data()));
    if (elements.size() != hvGetNumberOfElements(made.get())) {
        throw py::value_error("A cell array has another number of elements than its dimensions say.");
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        hvSetCell(made.get(), i, valueFrom(elements[i]).toArray().release());
    }
    return made;
}

hvArrayOwner structFrom(const py::tuple& value) {
    const auto dimensions = value[1].cast<Dimensions>();
    const auto names = value[2].cast<std::vector<std::string>>();
    const auto values = value[3].cast<py::list>();
    hvArrayOwner made(hvCreateStructArray(dimensions.size(), dimensions.data(), 0, nullptr));
    const std::size_t count = hvGetNumberOfElements(made.get());
    if (values.size() != names.size() * count) {
        throw py::value_error("A struct array has another number of values than its dimensions say.");
    }
    for (std::size_t field = 0; field < names.size(); ++field) {
        const int number = hvAddField(made.get(), names[field].c_str());
        for (std::size_t i = 0; i < count; ++i) {
            hvSetFieldByNumber(made.get(), i, number, valueFrom(values[field * count + i]).toArray().release());
        }
    }
    return made;
}

Value valueFrom(py::handle given) {
    const auto value = given.cast<py::tuple>();
    const std::string kind = textOf(value[0]);
    if (kind == "array") {
        return Value(arrayFrom(value));
    }
    if (kind == "fi") {
        return fiFrom(value);
    }
    if (kind == "type") {
        return typeObject(value[1]);
    }
    if (kind == "format") {
        return quantizerFrom(value);
    }
    if (kind == "cell") {
        return Value(cellFrom(value));
    }
    if (kind == "struct") {
        return Value(structFrom(value));
    }
    if (kind == "object") {
        return restored(value[2]);
    }
    throw py::value_error("There is no kind '" + kind + "' of values.");
}

// What Python calls

/// What the host warned of since the last call, as pairs of an id and a text.
py::list takenWarnings() {
    py::list made;
    for (const hostref::Warning& warning : session().takeWarnings()) {
        made.append(py::make_tuple(warning.id, warning.text));
    }
    return made;
}

void save(const std::string& file, const py::list& names, const py::list& values) {
    session().takeWarnings();
    std::vector<hostref::Variable> variables;
    variables.reserve(names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        variables.push_back({textOf(names[i]), valueFrom(values[i])});
    }
    // A setting that was refused with a warning: nothing has been written yet.
    if (const std::vector<hostref::Warning> refused = session().takeWarnings(); !refused.empty()) {
        raise(refused.front().id, refused.front().text);
    }
    session().save(file, variables);
}

py::list load(const std::string& file) {
    session().takeWarnings();
    py::list made;
    for (const hostref::Variable& variable : session().load(file)) {
        made.append(py::make_tuple(variable.name, tupleOf(variable.value)));
    }
    return made;
}

/// The properties of an object that a user can read, in the order of its class.
py::list propertiesOf(py::handle bytes) {
    const Value object = restored(bytes);
    py::list made;
    for (const OMPropInfo* const property : object.interface()->getClass()->getProperties()) {
        if (!property->isExternalGetAccess()) {
            continue;
        }
        try {
            made.append(py::make_tuple(property->getName(), tupleOf(object.get(property->getName()))));
        } catch (const HostError&) {
            continue;  // has no value in this state
        }
    }
    return made;
}

void setError(const std::string& id, const std::string& text) {
    if (id.ends_with(":outofmemory") || id == "VELMAR:nomem") {
        PyErr_SetString(PyExc_MemoryError, text.c_str());
        return;
    }
    if (sMakeError == nullptr) {
        PyErr_SetString(PyExc_RuntimeError, text.c_str());
        return;
    }
    try {
        const py::object made = py::handle(sMakeError)(id, text);
        PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(made.ptr())), made.ptr());
    } catch (py::error_already_set& other) {
        other.restore();
    }
}

}  // namespace

}  // namespace tolvane::python

PYBIND11_MODULE(_host, module) {
    using namespace tolvane::python;
    // The translator's type wants a copy.
    py::register_local_exception_translator(
        [](std::exception_ptr raised) {  // NOLINT(performance-unnecessary-value-param)
            try {
                if (raised) {
                    std::rethrow_exception(raised);
                }
            } catch (const HostError& e) {
                setError(e.id(), e.what());
            } catch (ErrorIdException* raisedByHost) {
                const std::unique_ptr<ErrorIdException> e(raisedByHost);
                setError(e->getId(), e->getMessage());
            }
        });
    module.def("set_errors", [](const py::function& make) { sMakeError = py::object(make).release().ptr(); });
    module.def("save", &save);
    module.def("load", &load);
    module.def("properties", &propertiesOf);
    module.def("take_warnings", &takenWarnings);
}
