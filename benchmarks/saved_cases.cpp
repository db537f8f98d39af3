// Variables of 10^6 elements through a file and back by a session, against plain calls of HDF5.
//
// Cases, "save" and "load" each:
//     int16     an array of class "fi" with words of 16 bits, which its file holds as int16
//     double    a plain array of doubles
//     64 bits   as int16, with words of 64 bits, as two uint32 a word
//     128 bits  the same with four
// Variants:
//     raw       one dataset of the same numbers, written to its name and closed, or read into a fresh vector
//     safe      as raw, then synchronised and renamed, as a session does
//     session   Session::save and Session::load, with digest and checks, and for the class all of its properties
// Times are processor times of all threads, since times of a shared disk say little. What is loaded is compared with
// what was saved before anything is timed.
#include "benchmarks/saved_cases.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <hdf5.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/ratio_report.h"
#include "host/reference/Session.h"

namespace {

using hostref::Session;
using hostref::Value;

constexpr std::size_t kCount = 1000000;

void require(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

struct RawData {
    hid_t type;
    const void* data;
    std::size_t count;
    std::size_t bytes;
};

struct Case {
    std::string name;
    Value value;
    Value elements;  // what the file holds of them
};

RawData rawOf(const Value& elements) {
    const hvArray* const array = elements.array();
    const hvClassID id = hvGetClassID(array);
    const hid_t type = id == hvDOUBLE_CLASS  ? H5T_NATIVE_DOUBLE
                       : id == hvINT16_CLASS ? H5T_NATIVE_INT16
                                             : H5T_NATIVE_UINT32;
    const std::size_t count = hvGetNumberOfElements(array);
    return {type, hvGetData(array), count, count * hvGetElementSize(array)};
}

class Setting {
 public:
    Setting() {
        require(mkdtemp(mFolder.data()) != nullptr, "no folder");
        std::vector<double> numbers(kCount);
        for (std::size_t i = 0; i < kCount; ++i) {
            numbers[i] = static_cast<double>(i % 32768) / 32768.0;
        }
        const Value row(numbers);
        const Value narrow = session.construct("embedded.fi", {row});
        cases = {{"int16", narrow, narrow.get("intarray")}, {"double", row, row}};
        for (const int bits : {64, 128}) {
            const Value type = session.construct("embedded.numerictype");
            type.set("WordLength", bits);
            type.set("FractionLength", bits - 2);
            const Value wide = session.construct("embedded.fi", {row, type});
            cases.push_back({std::to_string(bits) + " bits", wide, wide.get("intarray")});
        }
        require(cases[0].elements.className() == "int16", "other integers than told");
    }
    ~Setting() { std::filesystem::remove_all(mFolder); }
    std::string file(const std::string& name) const { return mFolder + "/" + name; }

    Session session;
    std::vector<Case> cases;

 private:
    std::string mFolder = (std::filesystem::temp_directory_path() / "saved_bench-XXXXXX").string();
};

void saveRaw(const std::string& name, const RawData& raw) {
    const hid_t file = H5Fcreate(name.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
    const hsize_t count = raw.count;
    const hid_t space = H5Screate_simple(1, &count, nullptr);
    const hid_t set = H5Dcreate2(file, "x", raw.type, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
    require(H5Dwrite(set, raw.type, H5S_ALL, H5S_ALL, H5P_DEFAULT, raw.data) >= 0, "not written");
    H5Dclose(set);
    H5Sclose(space);
    require(H5Fclose(file) >= 0, "not written");
}

void saveSafely(const std::string& name, const RawData& raw) {
    const std::string beside = name + ".new";
    saveRaw(beside, raw);
    const int descriptor = open(beside.c_str(), O_RDONLY);
    require(descriptor >= 0 && fsync(descriptor) == 0 && close(descriptor) == 0, "not synchronised");
    std::filesystem::rename(beside, name);
}

std::vector<std::byte> loadRaw(const std::string& name, const RawData& raw) {
    std::vector<std::byte> bytes(raw.bytes);
    const hid_t file = H5Fopen(name.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
    const hid_t set = H5Dopen2(file, "x", H5P_DEFAULT);
    require(H5Dread(set, raw.type, H5S_ALL, H5S_ALL, H5P_DEFAULT, bytes.data()) >= 0, "not read");
    H5Dclose(set);
    H5Fclose(file);
    return bytes;
}

template <class Action>
void add(const std::string& name, Action action) {
    benchmark::RegisterBenchmark(name.c_str(),
                                 [action](benchmark::State& state) {
                                     for (auto unused : state) {
                                         static_cast<void>(unused);
                                         action();
                                     }
                                     finish(state, kCount);
                                 })
        ->MeasureProcessCPUTime()
        ->MinTime(0.1)
        ->Repetitions(5);
}

void addCase(Setting& setting, const Case& tested) {
    const RawData raw = rawOf(tested.elements);
    const std::string rawFile = setting.file(tested.name + " raw");
    const std::string file = setting.file(tested.name);
    const auto save = [&setting, &tested, file] { setting.session.save(file, {{"x", tested.value}}); };
    const auto load = [&setting, file] { return setting.session.load(file, "x"); };

    saveRaw(rawFile, raw);
    save();
    const Value loaded = load();
    const Value elements = loaded.isObject() ? loaded.get("intarray") : loaded;
    require(elements == tested.elements, "what was loaded differs from what was saved");
    require(std::memcmp(loadRaw(rawFile, raw).data(), raw.data, raw.bytes) == 0, "the baseline loads something else");

    add("save " + tested.name + "/raw", [raw, rawFile] { saveRaw(rawFile, raw); });
    add("save " + tested.name + "/safe", [raw, rawFile] { saveSafely(rawFile, raw); });
    add("save " + tested.name + "/session", save);
    add("load " + tested.name + "/raw", [raw, rawFile] { benchmark::DoNotOptimize(loadRaw(rawFile, raw).data()); });
    add("load " + tested.name + "/session", [load] { benchmark::DoNotOptimize(load().interface()); });
}

}  // namespace

void registerSaving() {
    static Setting setting;
    for (const Case& each : setting.cases) {
        addCase(setting, each);
    }
}
