// Temporary folders, and texts in files.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

/// A folder that exists as long as the object.
class TemporaryFolder {
 public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "tolvane-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("mkdtemp");
        }
        mPath = name;
    }
    ~TemporaryFolder() { std::filesystem::remove_all(mPath); }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string file(const std::string& name) const { return (mPath / name).string(); }
    std::size_t entryCount() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(mPath), std::filesystem::directory_iterator()));
    }

 private:
    std::filesystem::path mPath;
};

inline void writeText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}
inline std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}
