// An enumeration as a data type: ordered pairs of an int32 value and its text. In arrays it appears as the text; an
// array with one of the values is accepted as well.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/OMDataType.h"

class TOLVANE_HOST_API EnumStringType : public OMDataType {
 public:
    struct Entry {
        std::int32_t value;
        std::string text;
    };

    explicit EnumStringType(std::string name);

    /// Finds the enumeration of that name in the OMTypeRepository; if it doesn't exist, makes it with these entries in
    /// this order and registers it. A registered type that isn't an enumeration raises "VELMAR:datatype:nameInUse".
    static EnumStringType* findOrAdd(const char* name, std::vector<Entry> entries);

    /// Appends an entry. A value or text that already exists raises "VELMAR:datatype:duplicateEnumValue".
    void addValue(std::int32_t value, std::string text);

    /// The entries in the order in which they were added.
    const std::vector<Entry>& getEntries() const { return mEntries; }
    std::size_t getNumberOfValues() const { return mEntries.size(); }
    bool isValue(std::int32_t value) const { return getText(value) != nullptr; }
    /// Returns the text of a value, owned by the type; null for an unknown value.
    const char* getText(std::int32_t value) const;
    /// Looks up a text, by exact comparison: stores its value and returns true, or returns false for an unknown text.
    bool getValue(const char* text, std::int32_t& value) const;

    void releaseValue(void* value) const override;

 private:
    hvArray* convertToVelmar(const void* value) const override;
    void* convertFromVelmar(const hvArray* array) const override;

    std::vector<Entry> mEntries;
};
