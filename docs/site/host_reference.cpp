// Writes a Markdown page for each class of the host, from the records of the classes, to a folder.
//
//     host_reference FOLDER
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "host/front/front.h"
#include "host/reference/Session.h"

namespace {

using front::ClassHelp;
using front::Member;

std::string codeOf(const std::string& text) {
    return "`" + text + "`";
}

void writeMembers(std::ostream& out, const ClassHelp& help, const std::string& heading,
                  const std::vector<Member>& members, void (*writeForms)(std::ostream&, const Member&)) {
    std::string inherited;
    bool isFirst = true;
    for (const Member& member : members) {
        if (member.owner != help.name) {
            inherited += (inherited.empty() ? "" : ", ") + codeOf(member.name);
            continue;
        }
        out << (isFirst ? "\n## " + heading + "\n" : "") << "\n### " << codeOf(member.name) << "\n\n"
            << member.description << "\n\n";
        writeForms(out, member);
        isFirst = false;
    }
    if (!inherited.empty()) {
        out << (isFirst ? "\n## " + heading + "\n" : "") << "\nFrom " << codeOf(help.parent)
            << " and its ancestors: " << inherited << ".\n";
    }
}

void writePage(std::ostream& out, const ClassHelp& help) {
    out << "# " << help.name << "\n\n" << help.description << "\n";
    if (!help.parent.empty()) {
        out << "\nDerived from " << codeOf(help.parent) << ".\n";
    }
    if (!help.forms.empty()) {
        out << "\n## Construction\n\n";
        for (const std::string& form : help.forms) {
            out << "    " << form << "\n";
        }
    }
    writeMembers(out, help, "Properties", help.properties, [](std::ostream& to, const Member& property) {
        to << "Values: " << codeOf(property.forms.at(0)) << "; " << property.forms.at(1) << ".\n";
    });
    writeMembers(out, help, "Methods", help.methods, [](std::ostream& to, const Member& method) {
        for (const std::string& form : method.forms) {
            to << "    " << form << "\n";
        }
    });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "host_reference FOLDER\n";
        return 2;
    }
    try {
        const std::filesystem::path folder(argv[1]);
        std::filesystem::create_directories(folder);
        hostref::Session session(TOLVANE_MODULE);
        front::install(session);
        for (const std::string& name : front::classNames()) {
            const ClassHelp help = front::classHelp(name);
            std::ofstream page(folder / (name.substr(name.find('.') + 1) + ".md"));
            page.exceptions(std::ios::failbit | std::ios::badbit);
            writePage(page, help);
        }
    } catch (const std::exception& error) {
        std::cerr << "host_reference: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
