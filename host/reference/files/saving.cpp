// Variables as an HDF5 file in memory.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <set>

#include "host/om.h"
#include "host/reference/calls/dispatch.h"
#include "host/reference/files/hdf5.h"
#include "host/reference/objects/ominterfacearrays.h"
#include "host/reference/saved_objects.h"

namespace hostref::parts {

namespace {

using namespace hdf5;

[[noreturn]] void raiseFailed() {
    if (lacksMemory()) {
        throw std::bad_alloc();
    }
    raiseError("VELMAR:save:failed", "The file can't be made.");
}

template <class Owner>
Owner made(hid_t id) {
    if (id < 0) {
        raiseFailed();
    }
    return Owner(id);
}

void require(herr_t status) {
    if (status < 0) {
        raiseFailed();
    }
}

/// Settings that put everything about a group or a dataset in its header, in the order of creation, and make the same
/// variables give the same bytes.
template <class Make>
Properties objectSettings(Make make) {
    Properties settings = made<Properties>(make());
    require(H5Pset_obj_track_times(settings.get(), false));
    return settings;
}

Properties groupSettings(hid_t kind) {
    Properties settings = objectSettings([kind] { return H5Pcreate(kind); });
    require(H5Pset_link_creation_order(settings.get(), H5P_CRT_ORDER_TRACKED | H5P_CRT_ORDER_INDEXED));
    constexpr unsigned kMost = 65535;
    require(H5Pset_link_phase_change(settings.get(), kMost, kMost));
    return settings;
}

Properties datasetSettings(H5D_layout_t layout) {
    Properties settings = objectSettings([] { return H5Pcreate(H5P_DATASET_CREATE); });
    require(H5Pset_layout(settings.get(), layout));
    require(H5Pset_fill_time(settings.get(), H5D_FILL_TIME_NEVER));
    // Leaves no room for marks in the headers, since few have any.
    require(H5Pset_dset_no_attrs_hint(settings.get(), true));
    return settings;
}

Properties accessSettings(Image& image) {
    Properties settings = made<Properties>(H5Pcreate(H5P_FILE_ACCESS));
    require(image.attachTo(settings.get()) ? 0 : -1);
    require(H5Pset_libver_bounds(settings.get(), H5F_LIBVER_V18, H5F_LIBVER_V18));
    return settings;
}

Properties linkSettings() {
    Properties settings = made<Properties>(H5Pcreate(H5P_LINK_CREATE));
    require(H5Pset_char_encoding(settings.get(), H5T_CSET_UTF8));
    return settings;
}

Type textType(std::size_t bytes) {
    Type type = made<Type>(H5Tcopy(H5T_C_S1));
    require(H5Tset_size(type.get(), bytes));
    require(H5Tset_strpad(type.get(), H5T_STR_NULLPAD));
    require(H5Tset_cset(type.get(), H5T_CSET_UTF8));
    return type;
}

class Writer {
 public:
    Writer() {
        const Properties root = groupSettings(H5P_FILE_CREATE);
        const Properties access = accessSettings(mImage);
        mFile = made<File>(H5Fcreate("saved objects", H5F_ACC_TRUNC, root.get(), access.get()));
        mark(mFile.get(), kFormat, kFormatVersion);
    }

    void write(const Variable& variable) {
        const std::string link = linkName(variable.name);
        if (variable.value.isObject()) {
            writeObject(mFile.get(), link, *variable.value.interface(), 0);
        } else {
            writeArray(mFile.get(), link, variable.value.array(), 0);
        }
    }

    /// Closes the file.
    FileBytes bytes() {
        mObjects.clear();
        mFile = File();
        return mImage.take();
    }

 private:
    // Marks

    void mark(hid_t object, const char* name, int number) {
        const Attribute attribute =
            made<Attribute>(H5Acreate2(object, name, H5T_STD_I32LE, mScalar.get(), H5P_DEFAULT, H5P_DEFAULT));
        require(H5Awrite(attribute.get(), H5T_NATIVE_INT, &number));
    }
    void mark(hid_t object, const char* name, const std::string& text) {
        const Type type = textType(text.size());
        const Attribute attribute =
            made<Attribute>(H5Acreate2(object, name, type.get(), mScalar.get(), H5P_DEFAULT, H5P_DEFAULT));
        require(H5Awrite(attribute.get(), type.get(), text.data()));
    }
    void mark(hid_t object, const char* name, std::span<const std::size_t> dimensions) {
        const std::vector<std::uint64_t> sizes(dimensions.begin(), dimensions.end());
        const hsize_t count = sizes.size();
        const Space space = made<Space>(H5Screate_simple(1, &count, nullptr));
        const Attribute attribute =
            made<Attribute>(H5Acreate2(object, name, H5T_STD_U64LE, space.get(), H5P_DEFAULT, H5P_DEFAULT));
        require(H5Awrite(attribute.get(), H5T_NATIVE_UINT64, sizes.data()));
    }

    Object group(hid_t parent, const std::string& link, const std::string& className) {
        Object result = made<Object>(H5Gcreate2(parent, link.c_str(), mLinks.get(), mGroups.get(), H5P_DEFAULT));
        mark(result.get(), kClass, className);
        return result;
    }

    // Plain data

    Object dataset(hid_t parent, const std::string& link, hid_t type, hid_t memoryType, hid_t space, std::size_t bytes,
                   const void* data) {
        constexpr std::size_t kMostInHeader = 4096;
        const Properties& settings = bytes <= kMostInHeader && bytes > 0 ? mSmall : mLarge;
        Object result =
            made<Object>(H5Dcreate2(parent, link.c_str(), type, space, mLinks.get(), settings.get(), H5P_DEFAULT));
        if (bytes > 0) {
            require(H5Dwrite(result.get(), memoryType, H5S_ALL, H5S_ALL, H5P_DEFAULT, data));
        }
        return result;
    }

    void writePart(hid_t parent, const std::string& link, const hvArray* array, const void* data) {
        const auto dimensions = hvGetDims(array);
        if (dimensions.size() > kMostDimensions) {
            raiseError("VELMAR:save:tooManyDimensions",
                       "An array of more than " + std::to_string(kMostDimensions) + " dimensions can't be saved.");
        }
        // The first dimension varies fastest here, the last one there.
        const std::vector<hsize_t> sizes(dimensions.rbegin(), dimensions.rend());
        const Space space = made<Space>(H5Screate_simple(static_cast<int>(sizes.size()), sizes.data(), nullptr));
        const hvClassID classId = hvGetClassID(array);
        const ElementType type = elementType(classId);
        const Object written = dataset(parent, link, type.inFile, type.inMemory, space.get(),
                                       hvGetNumberOfElements(array) * hvGetElementSize(array), data);
        if (classId == hvLOGICAL_CLASS || classId == hvCHAR_CLASS) {
            mark(written.get(), kClass, std::string(hvGetClassName(array)));
        }
    }

    /// Writes a char row as text, unless a text wouldn't restore each character.
    bool writeText(hid_t parent, const std::string& link, const hvArray* array) {
        if (!hvIsChar(array) || hvGetNumberOfDimensions(array) != 2 || hvGetM(array) != 1 || hvIsEmpty(array) ||
            hvGetN(array) > kLongestText / 4) {
            return false;
        }
        const std::string text = hvArray2String(array);
        const hvArrayOwner again(hvCreateString(text));
        if (!std::ranges::equal(hvGetTypedData<hvChar>(array),
                                hvGetTypedData<hvChar>(static_cast<const hvArray*>(again.get())))) {
            return false;
        }
        const Type type = textType(text.size());
        dataset(parent, link, type.get(), type.get(), mScalar.get(), text.size(), text.data());
        return true;
    }

    // Arrays

    void errorIfTooDeep(int depth) {
        if (depth > kDeepest) {
            raiseError("VELMAR:save:tooDeep", "A value with more than " + std::to_string(kDeepest) +
                                                  " values within one another can't be saved.");
        }
    }

    void writeArray(hid_t parent, const std::string& link, const hvArray* array, int depth) {
        errorIfTooDeep(depth);
        if (array == nullptr) {
            group(parent, link, kNull);
        } else if (OMInterface* const interface = OMInterfaceArrays::get(array)) {
            writeObject(parent, link, *interface, depth);
        } else if (hvIsCell(array)) {
            writeCells(parent, link, array, depth);
        } else if (hvIsStruct(array)) {
            writeStruct(parent, link, array, depth);
        } else if (elementType(hvGetClassID(array)).inFile < 0) {
            raiseError("VELMAR:save:badClass",
                       std::string("A value of class '") + hvGetClassName(array) + "' can't be saved.");
        } else if (hvIsComplex(array)) {
            const Object parts = group(parent, link, hvGetClassName(array));
            writePart(parts.get(), kReal, array, hvGetData(array));
            writePart(parts.get(), kImaginary, array, hvGetImagData(array));
        } else if (!writeText(parent, link, array)) {
            writePart(parent, link, array, hvGetData(array));
        }
    }

    void writeCells(hid_t parent, const std::string& link, const hvArray* array, int depth) {
        const Object cells = group(parent, link, hvGetClassName(array));
        mark(cells.get(), kDimensions, hvGetDims(array));
        writeElements(cells.get(), {0, hvGetNumberOfElements(array)}, depth,
                      [array](std::size_t i) { return hvGetCell(array, i); });
    }

    /// The elements of a cell array, or of a field of a struct array.
    template <class ElementAt>
    void writeElements(hid_t group, ElementRange range, int depth, const ElementAt& elementAt) {
        const std::size_t step = range.step();
        for (std::size_t i = 0; i * step < range.count; ++i) {
            const ElementRange part = range.part(i);
            if (step == 1) {
                writeArray(group, part.name(), elementAt(part.first), depth + 1);
            } else {
                const Object inner =
                    made<Object>(H5Gcreate2(group, part.name().c_str(), mLinks.get(), mGroups.get(), H5P_DEFAULT));
                writeElements(inner.get(), part, depth, elementAt);
            }
        }
    }

    /// A field of one element is stored under its name; of several elements, as a cell array of the struct's
    /// dimensions.
    void writeStruct(hid_t parent, const std::string& link, const hvArray* array, int depth) {
        const Object fields = group(parent, link, hvGetClassName(array));
        mark(fields.get(), kDimensions, hvGetDims(array));
        const std::size_t count = hvGetNumberOfElements(array);
        for (int field = 0; field < hvGetNumberOfFields(array); ++field) {
            const std::string name = linkName(hvGetFieldNameByNumber(array, field));
            if (count == 1) {
                writeArray(fields.get(), name, hvGetFieldByNumber(array, 0, field), depth + 1);
                continue;
            }
            const Object cells = group(fields.get(), name, "cell");
            mark(cells.get(), kDimensions, hvGetDims(array));
            writeElements(cells.get(), {0, count}, depth + 1,
                          [array, field](std::size_t i) { return hvGetFieldByNumber(array, i, field); });
        }
    }

    // Objects

    /// An object is written once; its other holders link to that.
    void writeObject(hid_t parent, const std::string& link, OMInterface& interface, int depth) {
        errorIfTooDeep(depth);
        const OMClass& objectClass = *interface.getClass();
        if (!mOpen.insert(&interface).second) {
            raiseError("VELMAR:save:cycle", std::string("An object of class '") + objectClass.getFullName() +
                                                "' that holds itself can't be saved.");
        }
        if (const auto known = mObjects.find(&interface); known != mObjects.end()) {
            require(H5Olink(known->second.get(), parent, link.c_str(), mLinks.get(), H5P_DEFAULT));
        } else {
            Object written = group(parent, link, objectClass.getFullName());
            mark(written.get(), kVersion, kObjectVersion);
            for (OMPropInfo* const property : objectClass.getProperties()) {
                if (property->isSerializeAccess()) {
                    writeProperty(written.get(), interface, *property, depth);
                }
            }
            mObjects.emplace(&interface, std::move(written));
            mHeld.push_back(Value::hold(&interface));
        }
        mOpen.erase(&interface);
    }

    void writeProperty(hid_t parent, OMInterface& interface, OMPropInfo& property, int depth) {
        const std::optional<Value> value = savedProperty(interface, property);
        const std::string link = linkName(property.getName());
        if (value && value->isObject()) {
            writeObject(parent, link, *value->interface(), depth + 1);
        } else {
            writeArray(parent, link, value ? value->array() : nullptr, depth + 1);
        }
    }

    Properties mSmall = datasetSettings(H5D_COMPACT);
    Properties mLarge = datasetSettings(H5D_CONTIGUOUS);
    Properties mGroups = groupSettings(H5P_GROUP_CREATE);
    Properties mLinks = linkSettings();
    Space mScalar = made<Space>(H5Screate(H5S_SCALAR));
    Image mImage;
    File mFile;
    std::map<OMInterface*, Object> mObjects;
    std::set<OMInterface*> mOpen;
    std::vector<Value> mHeld;  // so that no handle is reused for another object
};

}  // namespace

namespace {

/// About what is written for an object, or at least for any array.
constexpr std::size_t kObjectBytes = 32768;
constexpr std::size_t kArrayBytes = 2048;

std::size_t bytesOf(const hvArray* array, int depth) {
    if (array == nullptr || depth > kDeepest) {
        return kArrayBytes;
    }
    if (OMInterfaceArrays::get(array) != nullptr) {
        return kObjectBytes;
    }
    const std::size_t count = hvGetNumberOfElements(array);
    std::size_t bytes = kArrayBytes;
    if (hvIsCell(array)) {
        for (std::size_t i = 0; i < count; ++i) {
            bytes += bytesOf(hvGetCell(array, i), depth + 1);
        }
    } else if (hvIsStruct(array)) {
        for (int field = 0; field < hvGetNumberOfFields(array); ++field) {
            for (std::size_t i = 0; i < count; ++i) {
                bytes += bytesOf(hvGetFieldByNumber(array, i, field), depth + 1);
            }
        }
    } else {
        bytes += count * hvGetElementSize(array) * (hvIsComplex(array) ? 2 : 1);
    }
    return bytes;
}

}  // namespace

FileBytes savedBytes(std::span<const Variable> variables) {
    std::set<std::string> names;
    for (const Variable& variable : variables) {
        if (variable.name.empty() || !names.insert(variable.name).second) {
            raiseError("VELMAR:save:badName", "The name '" + variable.name + "' is empty or given twice.");
        }
    }
    std::size_t bytes = 0;
    for (const Variable& variable : variables) {
        bytes += variable.value.isArray() ? bytesOf(variable.value.array(), 0) : kObjectBytes;
    }
    requireMemory(bytes);
    const Quiet quiet;
    Writer writer;
    for (const Variable& variable : variables) {
        writer.write(variable);
    }
    return writer.bytes();
}

}  // namespace hostref::parts
