// Object-model classes for tests: objects that count themselves, and a holder of one reference.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/hv.h"
#include "host/om.h"

/// Releases one of several references. Not inlined: a compiler that sees `operator delete` assumes that the pointer is
/// dead.
[[gnu::noinline]] inline void dropReference(OMInterface* interface) {
    OMInterface::operator delete(interface);
}

/// Releases a reference at the end of a scope.
class Reference {
 public:
    explicit Reference(OMInterface* interface) : mInterface(interface) {}
    ~Reference() { OMInterface::operator delete(mInterface); }
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;

    OMInterface* get() const { return mInterface; }
    OMInterface* operator->() const { return mInterface; }
    void reset() { OMInterface::operator delete(std::exchange(mInterface, nullptr)); }

 private:
    OMInterface* mInterface;
};

struct CountedObject {
    explicit CountedObject(int start = 0) : width(start) { ++sAlive; }
    ~CountedObject() { --sAlive; }
    CountedObject(const CountedObject&) = delete;
    CountedObject& operator=(const CountedObject&) = delete;

    int width;
    static inline int sAlive = 0;
};

class CountedClass : public OMClass {
 public:
    explicit CountedClass(const char* name) {
        setName(name, true);
        ++sAlive;
    }
    ~CountedClass() override { --sAlive; }

    using OMClass::createClassSpecificObject;
    OMInterface* createClassSpecificObject(OMInterface* /*interface*/, void** /*arguments*/, int count) override {
        return makeObject(count);
    }
    void destroyObject(OMInterface* interface) override { delete static_cast<CountedObject*>(interface->getObject()); }

    OMInterface* makeObject(int width = 0) { return new OMInterface(new CountedObject(width), this, nullptr); }

    static inline int sAlive = 0;
};

/// Property `width` of a CountedObject.
class WidthPropInfo : public OMPropInfoTemplate {
 public:
    explicit WidthPropInfo(const char* name = "Width", const OMPropertyAccess& access = {})
        : OMPropInfoTemplate(name, OMTypeRepository::getType("int32", true), access) {}
    void* getValue(OMDatabaseClient* /*client*/, OMInterface* interface) override {
        return new std::int32_t(static_cast<CountedObject*>(interface->getObject())->width);
    }
    void setValue(OMDatabaseClient* /*client*/, OMInterface* interface, const void* value) override {
        if (value == nullptr) {
            return;
        }
        const std::int32_t width = *static_cast<const std::int32_t*>(value);
        if (width < 1) {
            raiseError("test:width", "Width must be positive.");
        }
        static_cast<CountedObject*>(interface->getObject())->width = width;
    }
};

/// A property of any data type: only its name, type and events matter.
class ValuelessProperty : public OMPropInfoTemplate {
 public:
    using OMPropInfoTemplate::OMPropInfoTemplate;
    void* getValue(OMDatabaseClient*, OMInterface*) override { return nullptr; }
    void setValue(OMDatabaseClient*, OMInterface*, const void*) override {}
};

/// The events sent to the listeners of a handle: one line each, with event and new value.
class EventTexts {
 public:
    explicit EventTexts(OMInterface* handle) {
        handle->getListenerManager()->addListener([this, handle](OMDatabaseClient* client, const OMEvent& event) {
            const auto& change = dynamic_cast<const OMPropertyEvent&>(event);
            EXPECT_TRUE(client->isInternal());
            EXPECT_EQ(event.getSource(), handle);
            EXPECT_EQ(change.getKind(), OMPropertyEvent::Kind::PostSet);
            mTexts.push_back(std::string(event.getEventInfo()->getName()) + " " +
                             valueText(change.getProperty()->getDataType()->getName(), change.getNewValue()));
        });
    }
    const std::vector<std::string>& get() const { return mTexts; }

 private:
    static std::string valueText(const std::string& type, const void* value) {
        if (type == "int32") {
            return std::to_string(*static_cast<const std::int32_t*>(value));
        }
        if (type == "double") {
            return std::to_string(*static_cast<const double*>(value));
        }
        if (type == "bool") {
            return *static_cast<const bool*>(value) ? "true" : "false";
        }
        if (type == "string") {
            return static_cast<const char*>(value);
        }
        return hvGetScalar(static_cast<const hvArray*>(value)) == 1 ? "array of true" : "array of false";
    }
    std::vector<std::string> mTexts;
};

/// A package for the lifetime of a test; checks that nothing of it is left.
class PackageTest : public ::testing::Test {
 protected:
    void TearDown() override {
        OMApplicationManager::removeApplication(mPackage);
        EXPECT_EQ(CountedObject::sAlive, 0);
        EXPECT_EQ(CountedClass::sAlive, 0);
        EXPECT_EQ(OMApplicationManager::getApplication("zoo"), nullptr);
    }
    CountedClass* addClass(const char* name, OMClass* superClass = nullptr) {
        auto made = std::make_unique<CountedClass>(name);
        made->setSuperClass(superClass);
        mPackage->addLocalClass(made.get());
        return made.release();
    }

    OMApplication* mPackage = OMApplicationManager::addApplication(std::make_unique<OMApplication>("zoo", true));
};
