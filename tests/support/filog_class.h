// The host's class of records, for tests of code below the binding: only objects and their destruction.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "descriptors/embedded.h"
#include "host/hv.h"
#include "host/om.h"
#include "logging/filog.h"

class FilogClass : public OMClass {
 public:
    FilogClass() { setName(filog::getVelmarClassName(), true); }
    void destroyObject(OMInterface* interface) override {
        delete static_cast<filog*>(interface->getObject());
        ++sDestroyed;
    }

    static inline int sDestroyed = 0;
};

/// The package with that class, for the lifetime of a test.
class FilogPackage {
 public:
    FilogPackage() {
        FilogClass::sDestroyed = 0;
        auto record = std::make_unique<FilogClass>();
        mPackage->addLocalClass(record.get());
        record.release();
    }
    ~FilogPackage() { OMApplicationManager::removeApplication(mPackage); }
    FilogPackage(const FilogPackage&) = delete;
    FilogPackage& operator=(const FilogPackage&) = delete;

 private:
    OMApplication* mPackage =
        OMApplicationManager::addApplication(std::make_unique<OMApplication>(embedded::getEmbeddedPackageName(), true));
};

inline OMInterface* handleIn(const hvArray* cells, std::size_t row) {
    return static_cast<OMInterface*>(hvGetHandle(hvGetCell(cells, row)));
}

inline filog& recordIn(const hvArray* cells, std::size_t row) {
    return *static_cast<filog*>(handleIn(cells, row)->getObject());
}

/// The keys of the records in a host cell column, in order.
inline std::vector<std::string> keysIn(const hvArray* cells) {
    std::vector<std::string> keys;
    for (std::size_t row = 0; row < hvGetNumberOfElements(cells); ++row) {
        keys.push_back(recordIn(cells, row).getKey());
    }
    return keys;
}
