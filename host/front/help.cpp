#include "host/front/help.h"

#include <algorithm>

#include "host/om.h"
#include "host/reference/HostError.h"

namespace front {

namespace {

constexpr std::string_view kPackage = "embedded";

const OMApplication& package() {
    const OMApplication* const found = OMApplicationManager::getApplication(std::string(kPackage).c_str());
    if (found == nullptr) {
        throw hostref::HostError("VELMAR:class:unknown", "No module with classes is started.");
    }
    return *found;
}

/// Without the package.
std::string_view shortName(std::string_view name) {
    return name.starts_with(kPackage) && name.substr(kPackage.size()).starts_with('.')
               ? name.substr(kPackage.size() + 1)
               : name;
}

/// The type of an argument or a result, as users call it.
std::string nameOf(const OMDataType& type) {
    if (dynamic_cast<const EnumStringType*>(&type) != nullptr) {
        return "text";
    }
    const std::string_view name = shortName(type.getName());
    return name == "VELMAR array" ? "array" : name == "handle" ? "object" : std::string(name);
}

/// Whether it accepts anything, like the signatures of functions in the host's language.
bool isOpen(const OMMethodSignature& signature) {
    return signature.getNumberOfReturnArgs() < 0 &&
           signature.getNumberOfArgs() == signature.getNumberOfRepeatableArgs();
}

std::string formOf(const std::string& name, const OMMethodSignature& signature) {
    if (isOpen(signature)) {
        return name + "(...)";
    }
    std::string text = name + "(";
    for (const OMMethodSignature::Argument& argument : signature.getArguments()) {
        text += (text.ends_with('(') ? "" : ", ") + nameOf(*argument.dataType);
    }
    text += signature.getNumberOfRepeatableArgs() > 0 ? "...)" : ")";
    for (int i = 0; i < signature.getNumberOfReturnArgs(); ++i) {
        text += (i == 0 ? " -> " : ", ") + nameOf(*signature.getReturnType(i));
    }
    return text;
}

std::string valuesOf(const OMDataType& type) {
    const auto* const enumeration = dynamic_cast<const EnumStringType*>(&type);
    if (enumeration == nullptr) {
        return nameOf(type);
    }
    std::string text;
    for (const EnumStringType::Entry& entry : enumeration->getEntries()) {
        text += (text.empty() ? "" : " | ") + entry.text;
    }
    return text;
}

std::string accessOf(const OMPropInfo& property) {
    const bool canGet = property.isExternalGetAccess();
    const bool canSet = property.isExternalSetAccess();
    return canGet && canSet ? "read and set" : canGet ? "read" : canSet ? "set" : "inside the host only";
}

/// What all members have in common; those of a class outside the package have no description.
template <class Record>
Member memberOf(const Record& record) {
    Member member;
    member.name = record.getName();
    member.owner = record.getClass()->getFullName();
    member.description = descriptionOf(shortName(member.owner), member.name);
    return member;
}

ClassHelp helpOf(const OMClass& objectClass) {
    ClassHelp help;
    help.name = objectClass.getFullName();
    help.parent = objectClass.getSuperClass() == nullptr ? "" : objectClass.getSuperClass()->getFullName();
    help.description = descriptionOf(shortName(help.name), {});
    for (const auto& signature : objectClass.getConstructorSignatures()) {
        help.forms.push_back(formOf(help.name, *signature));
    }
    for (const OMPropInfo* const property : objectClass.getProperties()) {
        Member& member = help.properties.emplace_back(memberOf(*property));
        member.forms = {valuesOf(*property->getDataType()), accessOf(*property)};
    }
    for (const OMMethodInfo* const method : objectClass.getMethods()) {
        Member& member = help.methods.emplace_back(memberOf(*method));
        for (const auto& signature : method->getMethodSignatures()) {
            const std::string form = (method->isStatic() ? "static " : "") + formOf(member.name, *signature);
            if (member.forms.empty() || member.forms.back() != form) {
                member.forms.push_back(form);
            }
        }
    }
    return help;
}

/// Text in lines of up to 120 characters behind an indent.
std::string wrapped(std::string_view text, std::size_t indent) {
    constexpr std::size_t kWidth = 120;
    std::string lines;
    while (!text.empty()) {
        std::size_t end = text.size();
        if (indent + end > kWidth) {
            const std::size_t space = text.rfind(' ', kWidth - indent);
            end = space == std::string_view::npos || space == 0 ? end : space;
        }
        lines += std::string(indent, ' ') + std::string(text.substr(0, end)) + "\n";
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::string propertyText(const Member& property) {
    return "  " + property.name + "  (" + property.forms.at(1) + ")\n" + wrapped(property.description, 6) +
           wrapped("Values: " + property.forms.at(0), 6);
}

std::string methodText(const Member& method) {
    std::string text;
    for (const std::string& form : method.forms) {
        text += wrapped(form, 2);
    }
    return text + wrapped(method.description, 6);
}

}  // namespace

std::vector<std::string> classNames() {
    std::vector<std::string> names;
    for (const OMClass* const objectClass : package().getLocalClasses()) {
        names.emplace_back(objectClass->getFullName());
    }
    return names;
}

ClassHelp classHelp(std::string_view className) {
    const OMClass* const found = package().getLocalClass(std::string(shortName(className)).c_str());
    if (found == nullptr) {
        throw hostref::HostError("VELMAR:class:unknown", "There is no class '" + std::string(className) + "'.");
    }
    return helpOf(*found);
}

std::string helpText() {
    std::string text;
    for (const std::string& name : classNames()) {
        text += "  " + name + "\n" + wrapped(descriptionOf(shortName(name), {}), 6);
    }
    return text;
}

std::string methodsText(const ClassHelp& help) {
    std::string text = "Methods of " + help.name + ":\n";
    for (const Member& method : help.methods) {
        text += methodText(method);
    }
    return text;
}

std::string propertiesText(const ClassHelp& help) {
    std::string text = "Properties of " + help.name + ":\n";
    for (const Member& property : help.properties) {
        text += propertyText(property);
    }
    return text;
}

std::string helpText(const ClassHelp& help, std::string_view member) {
    if (member.empty()) {
        std::string text =
            help.name + (help.parent.empty() ? "" : " of " + help.parent) + "\n" + wrapped(help.description, 2);
        for (const std::string& form : help.forms) {
            text += wrapped("made as " + form, 2);
        }
        return text + "\n" + propertiesText(help) + "\n" + methodsText(help);
    }
    std::string text;
    for (const Member& property : help.properties) {
        text += property.name == member ? propertyText(property) : "";
    }
    for (const Member& method : help.methods) {
        text += method.name == member ? methodText(method) : "";
    }
    if (text.empty()) {
        throw hostref::HostError("VELMAR:help:unknownName",
                                 "Class '" + help.name + "' has no property or method '" + std::string(member) + "'.");
    }
    return text;
}

}  // namespace front
