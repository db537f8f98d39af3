// Class records as text, for comparison with a table.
#pragma once

#include <sstream>
#include <string>
#include <utility>

#include "host/om.h"
#include "host/reference/Value.h"

/// Omits "VELMAR array" and the package.
inline std::string shortName(const OMDataType* type) {
    const std::string name = type->getName();
    const std::string package = "embedded.";
    return name == "VELMAR array" ? "array" : name.starts_with(package) ? name.substr(package.size()) : name;
}

/// Access and visibility: external set and get, internal set and get, serialize, copy, listener, visible; followed by
/// "!" for an attribute that no property of the package has.
inline std::string lettersOf(const OMPropInfo& property) {
    const OMPropertyAccess& access = property.getAccess();
    const std::pair<bool, char> attributes[] = {{access.isExternalSetAccess, 's'}, {access.isExternalGetAccess, 'g'},
                                                {access.isInternalSetAccess, 'S'}, {access.isInternalGetAccess, 'G'},
                                                {access.isSerializeAccess, 'z'},   {access.isCopyAccess, 'c'},
                                                {access.isListenerAccess, 'l'},    {property.isVisible(), 'v'}};
    std::string letters;
    for (const auto& [isOn, letter] : attributes) {
        letters += isOn ? letter : '-';
    }
    const bool hasOther =
        access.isInitAccess || access.isDefaultAccess || access.isResetAccess || access.isAbortSetAccess;
    return hasOther ? letters + "!" : letters;
}

/// Names in order; consecutive names with the same description share one line after it.
class GroupedLines {
 public:
    void add(const std::string& description, const std::string& name) {
        mText += description == mLast ? " " + name : "\n" + description + ": " + name;
        mLast = description;
    }
    std::string text() const { return mText + "\n"; }

 private:
    std::string mText;
    std::string mLast;
};

/// The properties of the class itself, by letters and type.
inline std::string propertyLines(const OMClass& objectClass) {
    GroupedLines lines;
    for (const OMPropInfo* const property : objectClass.getProperties()) {
        if (property->getClass() == &objectClass) {
            lines.add(lettersOf(*property) + " " + shortName(property->getDataType()), property->getName());
        }
    }
    return lines.text();
}

inline std::string signatureText(const OMMethodSignature& signature) {
    std::string text;
    for (const OMMethodSignature::Argument& argument : signature.getArguments()) {
        text += (text.empty() ? "" : ", ") + shortName(argument.dataType);
    }
    text = "(" + text + (signature.getNumberOfRepeatableArgs() > 0 ? "...)" : ")");
    for (int i = 0; i < signature.getNumberOfReturnArgs(); ++i) {
        text += " " + shortName(signature.getReturnType(i));
    }
    return text;
}

/// The methods of the class itself, by arguments and results of each signature, preceded by "any" if the object may be
/// any argument and "static" if none is needed.
inline std::string methodLines(const OMClass& objectClass) {
    GroupedLines lines;
    for (const OMMethodInfo* const method : objectClass.getMethods()) {
        if (method->getClass() == &objectClass) {
            std::string shape = method->isStatic() ? "static" : method->isDispatchedOnFirstArgument() ? "" : "any";
            for (const auto& signature : method->getMethodSignatures()) {
                shape += (shape.empty() ? "" : " ") + signatureText(*signature);
            }
            lines.add(shape, method->getName());
        }
    }
    return lines.text();
}

/// All that the record of a class says, from its name to its methods.
inline std::string classText(const OMClass& objectClass) {
    const OMClass* const parent = objectClass.getSuperClass();
    std::string text = std::string(objectClass.getFullName()) + (parent == nullptr ? "" : " of ") +
                       (parent == nullptr ? "" : parent->getFullName()) + (objectClass.getClassFlagA() ? ", A" : "") +
                       (objectClass.getClassFlagB() ? ", B" : "") + (objectClass.isVisible() ? "" : ", hidden") +
                       "\nmade from:";
    for (const auto& signature : objectClass.getConstructorSignatures()) {
        text += " " + signatureText(*signature);
    }
    return text + propertyLines(objectClass) + "methods:" + methodLines(objectClass);
}

/// What the system itself tells the listeners of an object from here on: "name=value " of each property that was set.
class HeardValues {
 public:
    explicit HeardValues(const hostref::Value& object) : mObject(object) {
        mId = listeners().addListener([this](OMDatabaseClient* client, const OMEvent& event) {
            const auto& change = dynamic_cast<const OMPropertyEvent&>(event);
            if (client->isInternal() && change.getKind() == OMPropertyEvent::Kind::PostSet) {
                const OMPropInfo& property = *change.getProperty();
                mText << property.getName() << '='
                      << hostref::Value(hvArrayOwner(omdtConvertToVelmar(property.getDataType(), change.getNewValue())))
                      << ' ';
            }
        });
    }
    HeardValues(const HeardValues&) = delete;
    HeardValues& operator=(const HeardValues&) = delete;
    ~HeardValues() { listeners().removeListener(mId); }
    std::string text() const { return mText.str(); }

 private:
    OMListenerManager& listeners() const { return *mObject.interface()->getListenerManager(); }

    hostref::Value mObject;
    OMListenerManager::Id mId;
    std::ostringstream mText;
};
