#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/faults/operation.h"

namespace faults {

Folder::Folder() : mOwner(getpid()) {
    char made[] = "/tmp/faults_XXXXXX";
    mPath = mkdtemp(made);
}

Folder::~Folder() {
    if (getpid() == mOwner) {
        std::filesystem::remove_all(mPath);
    }
}

std::map<std::string, std::string> Folder::contents() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(mPath)) {
        std::ifstream in(entry.path(), std::ios::binary);
        files[entry.path().filename().string()] = std::string(std::istreambuf_iterator<char>(in), {});
    }
    return files;
}

std::string Folder::text() const {
    std::string text;
    for (const auto& [name, content] : contents()) {
        text += name + "\n" + content + "\n";
    }
    return text;
}

void Folder::keep() {
    mKept = contents();
}

void Folder::reset() const {
    for (const auto& entry : std::filesystem::directory_iterator(mPath)) {
        std::filesystem::remove(entry.path());
    }
    for (const auto& [name, content] : mKept) {
        std::ofstream(mPath + "/" + name, std::ios::binary) << content;
    }
}

}  // namespace faults
