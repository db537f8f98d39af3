// An HDF5 file in memory as variables. The contents of the file are checked before anything is created: each item must
// be of a kind that saving writes, and all of them together no larger than the file.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <map>
#include <set>

#include "host/om.h"
#include "host/reference/calls/dispatch.h"
#include "host/reference/files/hdf5.h"
#include "host/reference/files/hdf5_check.h"
#include "host/reference/objects/ominterfacearrays.h"
#include "host/reference/parts/opener.h"
#include "host/reference/saved_objects.h"
#include "host/reference/values/array.h"
#include "host/reference/values/caught_error.h"

namespace hostref::parts {

namespace {

using namespace hdf5;

[[noreturn]] void raiseNewer(const std::string& what, int version, int known) {
    raiseError("VELMAR:load:newerVersion", what + " was saved in version " + std::to_string(version) +
                                               ", which is newer than version " + std::to_string(known) +
                                               " that is known here. A newer system can load it.");
}

void require(bool holds, const char* what) {
    if (!holds) {
        if (lacksMemory()) {
            throw std::bad_alloc();
        }
        raiseDamaged(what);
    }
}

template <class Owner>
Owner opened(hid_t id) {
    require(id >= 0, "a part of it can't be read");
    return Owner(id);
}

struct Link {
    std::string name;
    haddr_t address;
};

/// The links of a group in the order in which they were made.
std::vector<Link> linksOf(hid_t group) {
    std::vector<Link> links;
    const auto add = [](hid_t /*group*/, const char* name, const H5L_info_t* info, void* out) -> herr_t {
        // Links to elsewhere are never written by saving.
        if (info->type != H5L_TYPE_HARD) {
            return -1;
        }
        try {
            static_cast<std::vector<Link>*>(out)->push_back({name, info->u.address});
            return 0;
        } catch (const std::exception&) {
            return -1;
        }
    };
    hsize_t place = 0;
    require(H5Literate(group, H5_INDEX_CRT_ORDER, H5_ITER_INC, &place, add, &links) >= 0,
            "its links can't be followed");
    return links;
}

/// The name that a link represents, which is saved as exactly this link.
std::string requireName(const Link& link, const char* what) {
    std::string name = nameOfLink(link.name);
    require(linkName(name) == link.name, what);
    return name;
}

/// The saved properties by name; nothing for one that had no value.
using SavedProperties = std::map<std::string, std::optional<Value>>;

void restoreProperty(OMInterface& interface, OMPropInfo& property, const Value& value) {
    OMDatabaseClient* const client = property.isInternalSetAccess() || !property.isExternalSetAccess()
                                         ? OMDatabaseClient::getInternalClient()
                                         : OMDatabaseClient::getExternalClient();
    writeProperty(interface, property, client, Argument::of(value));
}

/// Preserves the state shared by the objects of a class. One additional object of each restored class, whose own
/// properties are never set, detects changes to it and restores them at the end.
class SharedStateKeeper {
 public:
    SharedStateKeeper() = default;
    SharedStateKeeper(const SharedStateKeeper&) = delete;
    SharedStateKeeper& operator=(const SharedStateKeeper&) = delete;
    ~SharedStateKeeper() {
        for (const Witness& witness : mWitnesses) {
            setBack(witness);
        }
    }

    void watch(OMClass& objectClass) {
        if (!mClasses.insert(&objectClass).second) {
            return;
        }
        Witness witness{constructObject(objectClass, {}), {}};
        for (OMPropInfo* const property : objectClass.getProperties()) {
            if (property->isSerializeAccess()) {
                if (auto value = savedProperty(*witness.object.interface(), *property)) {
                    witness.properties.emplace_back(property, std::move(*value));
                }
            }
        }
        mWitnesses.push_back(std::move(witness));
    }
    void let() { mWitnesses.clear(); }

 private:
    struct Witness {
        Value object;
        std::vector<std::pair<OMPropInfo*, Value>> properties;
    };

    static void setBack(const Witness& witness) {
        OMInterface& interface = *witness.object.interface();
        // Properties that can't be read or set can't be preserved.
        withoutErrors([&] {
            std::vector<const std::pair<OMPropInfo*, Value>*> changed;
            for (const auto& entry : witness.properties) {
                // An object among the properties is a different one at each read.
                if (entry.second.isArray() && savedProperty(interface, *entry.first) != entry.second) {
                    changed.push_back(&entry);
                }
            }
            for (const auto* const entry : changed) {
                restoreProperty(interface, *entry->first, entry->second);
            }
        });
    }

    std::set<const OMClass*> mClasses;
    std::vector<Witness> mWitnesses;
};

class Reader {
 public:
    explicit Reader(std::span<const std::byte> hdf5File) : mBytesLeft(hdf5File.size()), mImage(hdf5File) {
        checkStructure(hdf5File);
        const Properties access = opened<Properties>(H5Pcreate(H5P_FILE_ACCESS));
        require(mImage.attachTo(access.get()), "it can't be opened");
        mFile = File(H5Fopen("saved objects", H5F_ACC_RDONLY, access.get()));
        require(mFile.get() >= 0, "it can't be opened");
        const int format = number(mFile.get(), kFormat);
        if (format > kFormatVersion) {
            raiseNewer("The file", format, kFormatVersion);
        }
        mLinks = linksOf(mFile.get());
    }

    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const Link& link : mLinks) {
            result.push_back(requireName(link, "a name is none"));
            require(!result.back().empty(), "a name is none");
        }
        return result;
    }

    std::vector<Variable> variables(const std::optional<std::string>& name) {
        std::vector<Variable> result;
        const std::vector<std::string> all = names();
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (!name || all[i] == *name) {
                result.push_back({all[i], value(mLinks[i], 0)});
            }
        }
        if (name && result.empty()) {
            raiseError("VELMAR:load:noVariable", "The file holds no variable '" + *name + "'.");
        }
        return result;
    }

    SharedStateKeeper& keeper() { return mKeeper; }

 private:
    // Marks

    /// Opens a mark with the expected type and number of elements.
    static Attribute openMark(hid_t object, const char* name, hid_t type, hssize_t count) {
        Attribute attribute = opened<Attribute>(H5Aopen(object, name, H5P_DEFAULT));
        const Type found = opened<Type>(H5Aget_type(attribute.get()));
        const Space space = opened<Space>(H5Aget_space(attribute.get()));
        require(H5Tequal(found.get(), type) > 0 && H5Sget_simple_extent_npoints(space.get()) == count,
                "a mark is of another kind");
        return attribute;
    }
    static int number(hid_t object, const char* name) {
        const Attribute attribute = openMark(object, name, H5T_STD_I32LE, 1);
        int value = 0;
        require(H5Aread(attribute.get(), H5T_NATIVE_INT, &value) >= 0 && value >= 1, "a version is none");
        return value;
    }
    /// Returns the size in bytes of a text type; 0 for other types.
    static std::size_t textBytes(hid_t type) {
        if (H5Tget_class(type) != H5T_STRING || H5Tis_variable_str(type) != 0 ||
            H5Tget_strpad(type) != H5T_STR_NULLPAD) {
            return 0;
        }
        const std::size_t bytes = H5Tget_size(type);
        return bytes <= kLongestText ? bytes : 0;
    }
    static std::string text(hid_t object, const char* name) {
        const Attribute attribute = opened<Attribute>(H5Aopen(object, name, H5P_DEFAULT));
        const Type type = opened<Type>(H5Aget_type(attribute.get()));
        const Space space = opened<Space>(H5Aget_space(attribute.get()));
        std::string result(textBytes(type.get()), '\0');
        require(!result.empty() && H5Sget_simple_extent_type(space.get()) == H5S_SCALAR &&
                    H5Aread(attribute.get(), type.get(), result.data()) >= 0,
                "a class is none");
        return result;
    }
    static std::vector<std::size_t> dimensionsMark(hid_t object) {
        const Attribute attribute = opened<Attribute>(H5Aopen(object, kDimensions, H5P_DEFAULT));
        const Space space = opened<Space>(H5Aget_space(attribute.get()));
        const hssize_t count = H5Sget_simple_extent_npoints(space.get());
        require(count >= 2 && count <= 65536, "dimensions are none");
        const Attribute again = openMark(object, kDimensions, H5T_STD_U64LE, count);
        std::vector<std::uint64_t> sizes(static_cast<std::size_t>(count));
        require(H5Aread(again.get(), H5T_NATIVE_UINT64, sizes.data()) >= 0, "dimensions are none");
        return {sizes.begin(), sizes.end()};
    }

    // Values

    /// Nothing for an element or a property without a value.
    std::optional<Value> valueIfAny(const Link& link, int depth) {
        require(depth <= kDeepest, "its values are within one another too deeply");
        if (const auto known = mObjects.find(link.address); known != mObjects.end()) {
            return known->second;
        }
        const Object object = opened<Object>(H5Oopen_by_addr(mFile.get(), link.address));
        const H5I_type_t type = H5Iget_type(object.get());
        require(type == H5I_DATASET || type == H5I_GROUP, "a part of it is of another kind");
        const std::string className = type == H5I_GROUP ? text(object.get(), kClass) : std::string();
        if (className == kNull) {
            return std::nullopt;
        }
        // Only an object may be in several places, and none within itself.
        require(mSeen.insert(link.address).second, "a part of it is in two places");
        return type == H5I_GROUP ? groupValue(object.get(), className, link, depth) : Value(plainArray(object.get()));
    }

    Value value(const Link& link, int depth) {
        std::optional<Value> any = valueIfAny(link, depth);
        require(any.has_value(), "a class is none");
        return *std::move(any);
    }

    Value groupValue(hid_t group, const std::string& className, const Link& link, int depth) {
        if (className == "cell") {
            return Value(cells(group, depth));
        }
        if (className == "struct") {
            return Value(structure(group, depth));
        }
        const auto isNamed = [&className](const ClassTraits& traits) {
            return traits.isNumeric && traits.name == className;
        };
        if (std::ranges::any_of(kClassTraits, isNamed)) {
            return Value(complexArray(group, className));
        }
        Value made = object(group, className, depth);
        mObjects.emplace(link.address, made);
        return made;
    }

    /// An element of a cell or a field; null if it was never set.
    hvArrayOwner element(const Link& link, int depth) {
        const std::optional<Value> any = valueIfAny(link, depth);
        return any ? any->toArray() : nullptr;
    }

    // Plain data

    static hvClassID classOf(hid_t dataset, hid_t type) {
        const bool isMarked = H5Aexists(dataset, kClass) > 0;
        for (int id = hvLOGICAL_CLASS; id <= hvUINT64_CLASS; ++id) {
            const auto classId = static_cast<hvClassID>(id);
            const hid_t wanted = elementType(classId).inFile;
            const bool needsMark = classId == hvLOGICAL_CLASS || classId == hvCHAR_CLASS;
            if (wanted >= 0 && H5Tequal(type, wanted) > 0 && isMarked == needsMark &&
                (!isMarked || text(dataset, kClass) == classTraits(classId).name)) {
                return classId;
            }
        }
        raiseDamaged("its elements are of another kind");
    }

    hvArrayOwner plainArray(hid_t dataset) {
        const Type type = opened<Type>(H5Dget_type(dataset));
        const Space space = opened<Space>(H5Dget_space(dataset));
        if (H5Tget_class(type.get()) == H5T_STRING) {
            std::string characters(textBytes(type.get()), '\0');
            require(!characters.empty() && H5Sget_simple_extent_type(space.get()) == H5S_SCALAR, "a text is none");
            takeData(dataset, characters.size(), type.get(), characters.data());
            return hvArrayOwner(hvCreateString(characters));
        }
        const hvClassID classId = classOf(dataset, type.get());
        const int rank = H5Sget_simple_extent_ndims(space.get());
        require(H5Sget_simple_extent_type(space.get()) == H5S_SIMPLE && rank >= 2, "dimensions are none");
        std::vector<hsize_t> sizes(static_cast<std::size_t>(rank));
        require(H5Sget_simple_extent_dims(space.get(), sizes.data(), nullptr) == rank, "dimensions are none");
        const std::vector<std::size_t> dimensions(sizes.rbegin(), sizes.rend());
        // Before the array is made, which would allocate any size that the file claims.
        const std::size_t count = checkedCount(normalizedDimensions(dimensions));
        require(count <= mBytesLeft / classTraits(classId).elementBytes, "an array is larger than the file");
        hvArrayOwner array = makeArray(dimensions, classId);
        takeData(dataset, array->partBytes(), elementType(classId).inMemory, array->real.data());
        if (classId == hvLOGICAL_CLASS) {
            const auto bits = hvGetTypedData<hvLogical>(static_cast<const hvArray*>(array.get()));
            require(std::ranges::all_of(bits, [](hvLogical bit) { return bit <= 1; }), "a logical element is none");
        }
        return array;
    }

    /// Reads the data of a dataset. The check of the file's structure found that it holds the values itself: no filter
    /// changes them, and no other file has them.
    void takeData(hid_t dataset, std::size_t bytes, hid_t memoryType, void* data) {
        require(bytes <= mBytesLeft, "its arrays are larger than the file");
        mBytesLeft -= bytes;
        if (bytes > 0) {
            require(H5Dget_storage_size(dataset) == bytes &&
                        H5Dread(dataset, memoryType, H5S_ALL, H5S_ALL, H5P_DEFAULT, data) >= 0,
                    "the elements of an array are missing");
        }
    }

    hvArrayOwner complexArray(hid_t group, const std::string& className) {
        const std::vector<Link> parts = linksOf(group);
        require(parts.size() == 2 && parts[0].name == kReal && parts[1].name == kImaginary,
                "the parts of a complex array are none");
        const auto part = [&](const Link& link) {
            const Object dataset = opened<Object>(H5Oopen_by_addr(mFile.get(), link.address));
            require(mSeen.insert(link.address).second && H5Iget_type(dataset.get()) == H5I_DATASET,
                    "the parts of a complex array are none");
            hvArrayOwner read = plainArray(dataset.get());
            require(hvGetClassName(read.get()) == className, "the parts of a complex array are none");
            return read;
        };
        hvArrayOwner array = part(parts[0]);
        hvArrayOwner imaginary = part(parts[1]);
        require(array->dimensions == imaginary->dimensions, "the parts of a complex array are of different sizes");
        array->isComplex = true;
        array->imaginary = std::move(imaginary->real);
        return array;
    }

    // Cells and structs

    hvArrayOwner cells(hid_t group, int depth) {
        const std::vector<std::size_t> dimensions = dimensionsMark(group);
        const std::size_t count = checkedCount(normalizedDimensions(dimensions));
        std::vector<hvArrayOwner> elements;
        takeElements(group, {0, count}, depth, elements);
        // Each element exists before an array of that many is made.
        hvArrayOwner array(hvCreateCellArray(dimensions.size(), dimensions.data()));
        for (std::size_t i = 0; i < elements.size(); ++i) {
            if (elements[i]) {
                hvSetCell(array.get(), i, elements[i].get());
                static_cast<void>(elements[i].release());
            }
        }
        return array;
    }

    void takeElements(hid_t group, ElementRange range, int depth, std::vector<hvArrayOwner>& elements) {
        const std::vector<Link> links = linksOf(group);
        const std::size_t step = range.step();
        require(links.size() == (range.count + step - 1) / step, "a cell array lacks elements");
        for (std::size_t i = 0; i < links.size(); ++i) {
            const ElementRange part = range.part(i);
            require(links[i].name == part.name(), "the elements of a cell array are out of order");
            if (step == 1) {
                elements.push_back(element(links[i], depth + 1));
                continue;
            }
            require(mSeen.insert(links[i].address).second, "a part of it is in two places");
            const Object inner = opened<Object>(H5Oopen_by_addr(mFile.get(), links[i].address));
            require(H5Iget_type(inner.get()) == H5I_GROUP, "a part of it is of another kind");
            takeElements(inner.get(), part, depth, elements);
        }
    }

    hvArrayOwner structure(hid_t group, int depth) {
        const std::vector<std::size_t> dimensions = dimensionsMark(group);
        const std::vector<Link> links = linksOf(group);
        const std::size_t count = checkedCount(normalizedDimensions(dimensions));
        // The fields are read before the struct is made, so that they confirm its size.
        std::vector<std::string> names;
        std::vector<hvArrayOwner> fields;
        for (const Link& link : links) {
            names.push_back(requireName(link, "a field is none"));
            fields.push_back(element(link, depth + 1));
            require(count == 1 || (hvIsCell(fields.back().get()) &&
                                   fields.back()->dimensions == normalizedDimensions(dimensions)),
                    "a field of a struct lacks elements");
        }
        std::vector<const char*> texts;
        for (const std::string& name : names) {
            texts.push_back(name.c_str());
        }
        hvArrayOwner array(
            hvCreateStructArray(dimensions.size(), dimensions.data(), static_cast<int>(texts.size()), texts.data()));
        for (std::size_t field = 0; field < fields.size(); ++field) {
            for (std::size_t i = 0; i < count; ++i) {
                const hvArray* const from =
                    count == 1 ? fields[field].get() : hvGetCell(static_cast<const hvArray*>(fields[field].get()), i);
                if (from != nullptr) {
                    hvArrayOwner copy(hvCreateSharedDataCopy(from));
                    hvSetFieldByNumber(array.get(), i, static_cast<int>(field), copy.get());
                    static_cast<void>(copy.release());
                }
            }
        }
        return array;
    }

    // Objects

    Value object(hid_t group, const std::string& className, int depth) {
        OMClass& objectClass = requireClass(className);
        require(className == objectClass.getFullName(), "a class is none");
        const int version = number(group, kVersion);
        if (version > kObjectVersion) {
            raiseNewer("An object of class '" + className + "'", version, kObjectVersion);
        }
        SavedProperties saved;
        for (const Link& link : linksOf(group)) {
            saved.emplace(requireName(link, "a property is none"), valueIfAny(link, depth + 1));
        }
        mKeeper.watch(objectClass);
        return restored(objectClass, saved);
    }

    static Value restored(OMClass& objectClass, const SavedProperties& saved) {
        std::vector<OMPropInfo*> properties = objectClass.getProperties();
        std::erase_if(properties, [](const OMPropInfo* property) { return !property->isSerializeAccess(); });
        const auto isSaved = [&saved](const OMPropInfo* property) { return saved.contains(property->getName()); };
        if (properties.size() != saved.size() || !std::ranges::all_of(properties, isSaved)) {
            return fromOlderForm(objectClass, saved);
        }
        Value made = constructObject(objectClass, {});
        OMInterface& interface = *made.interface();
        // A setter may drop or refuse a value that only a later one makes valid, so errors count only the second time.
        std::set<const OMPropInfo*> refused;
        for (OMPropInfo* const property : properties) {
            if (const auto& value = saved.at(property->getName())) {
                try {
                    restoreProperty(interface, *property, *value);
                } catch (...) {
                    static_cast<void>(caughtError());
                    refused.insert(property);
                }
            }
        }
        for (OMPropInfo* const property : properties) {
            const auto& value = saved.at(property->getName());
            // An object among the properties is a different one at each read.
            const bool isMissing =
                value && (value->isArray() ? savedProperty(interface, *property) != value : refused.contains(property));
            if (isMissing) {
                restoreProperty(interface, *property, *value);
            }
        }
        return made;
    }

    /// A class whose properties have changed has a static method "loadobj", which makes an object from a struct of the
    /// old ones.
    static Value fromOlderForm(OMClass& objectClass, const SavedProperties& saved) {
        OMMethodInfo* const method = objectClass.getMethod("loadobj");
        if (method == nullptr || !method->isStatic()) {
            raiseError("VELMAR:load:otherProperties", "An object of class '" + std::string(objectClass.getFullName()) +
                                                          "' was saved with other properties than the class has, and "
                                                          "the class has no static method 'loadobj'.");
        }
        std::vector<const char*> names;
        for (const auto& [name, value] : saved) {
            names.push_back(name.c_str());
        }
        hvArrayOwner properties(hvCreateStructMatrix(1, 1, static_cast<int>(names.size()), names.data()));
        int field = 0;
        for (const auto& [name, value] : saved) {
            if (value) {
                hvArrayOwner array = value->toArray();
                hvSetFieldByNumber(properties.get(), 0, field, array.get());
                static_cast<void>(array.release());
            }
            ++field;
        }
        const Argument argument = Argument::of(properties.get());
        Value made = callMethodOfClass(objectClass, "loadobj", std::span(&argument, 1), Wanted::exactly(1)).front();
        if (!made.isA(objectClass.getFullName())) {
            raiseError("VELMAR:load:badLoadobj", "The method 'loadobj' of class '" +
                                                     std::string(objectClass.getFullName()) +
                                                     "' gave no object of the class.");
        }
        return made;
    }

    // Declared before the objects, so that their shared state is restored after they are destroyed.
    SharedStateKeeper mKeeper;
    std::size_t mBytesLeft;
    Image mImage;
    File mFile;
    std::vector<Link> mLinks;
    std::set<haddr_t> mSeen;
    std::map<haddr_t, Value> mObjects;
};

std::vector<Variable> loadedVariables(std::span<const std::byte> bytes, SharedState shared,
                                      const std::optional<std::string>& name) {
    const auto hdf5File = behindHeading(bytes);
    requireMemory(bytes.size());
    const Quiet quiet;
    Reader reader(hdf5File);
    std::vector<Variable> variables = reader.variables(name);
    if (shared == SharedState::restore) {
        reader.keeper().let();
    }
    return variables;
}

std::vector<std::string> namesIn(std::span<const std::byte> bytes) {
    const auto hdf5File = behindHeading(bytes);
    requireMemory(bytes.size());
    const Quiet quiet;
    return Reader(hdf5File).names();
}

constexpr Files kTable = {savedBytes, loadedVariables, namesIn};

}  // namespace

}  // namespace hostref::parts

TOLVANE_HOST_PART(hostref::parts::kTable)
