// The state that a filter keeps between calls, as a tree of C-like types: described, declared in C, with checksums and
// conversions.
//
// The words come from the header that filter_study writes. The tree is made through the host, as by its user; the
// printed text is read from the descriptors behind the handles, by visitors.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "descriptors/NumericType.h"
#include "examples/tour_text.h"
#include "host/EnumStringType.h"
#include "host/OMClass.h"
#include "host/OMInterface.h"
#include "host/reference/Session.h"
#include "typesystem/CharType.h"
#include "typesystem/ComplexType.h"
#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/FIEnumType.h"
#include "typesystem/MD5CheckSumModEndian.h"
#include "typesystem/MatrixType.h"
#include "typesystem/OpaqueType.h"
#include "typesystem/PointerType.h"
#include "typesystem/StructElement.h"
#include "typesystem/StructType.h"
#include "typesystem/VoidType.h"

namespace {

using namespace EmbeddedTypeSystem;
using hostref::Session;
using hostref::Value;

// The tree

/// The macros of the header: FILTER_TAPS, FILTER_DATA_BITS and so on.
std::map<std::string, int> readWords(const std::string& path) {
    const auto refuse = [&path](const std::string& why) {
        throw std::runtime_error(path + why + "; filter_study --out writes such a file, coefficients.h");
    };
    std::error_code ignored;
    if (!std::filesystem::exists(path, ignored)) {
        refuse(": there is no such file");
    }
    if (std::filesystem::is_directory(path, ignored)) {
        refuse(" is a directory");
    }
    std::ifstream file(path);
    if (!file) {
        refuse(": cannot be read");
    }
    std::map<std::string, int> words;
    for (std::string line; std::getline(file, line);) {
        std::istringstream parts(line);
        std::string define, name;
        int value = 0;
        if (parts >> define >> name >> value && define == "#define") {
            words[name] = value;
        }
    }
    for (const char* name : {"TAPS", "COEFFICIENT_BITS", "COEFFICIENT_FRACTION", "DATA_BITS", "DATA_FRACTION",
                             "PRODUCT_BITS", "PRODUCT_FRACTION", "SUM_BITS", "SUM_FRACTION"}) {
        if (!words.contains(std::string("FILTER_") + name)) {
            refuse(std::string(" has no FILTER_") + name);
        }
    }
    return words;
}

class FilterState {
 public:
    FilterState(Session& session, const std::map<std::string, int>& words) : mSession(session), mWords(words) {
        const Value coefficients = vectorOf(number("COEFFICIENT"));
        coefficients.set("ReadOnly", true);
        const Value log = session.construct("embedded.opaquetype", {"filter_log"});
        const Value state = make("structtype", "filter_state");
        const std::vector<Value> members = {
            member("coefficients", coefficients),
            member("history", vectorOf(number("DATA"))),
            member("product", number("PRODUCT")),
            member("sum", number("SUM")),
            member("round", modes("RoundMode")),
            member("overflow", modes("OverflowMode")),
            member("log", pointerTo(log)),
            member("next", pointerTo(state)),
            member("user", pointerTo(make("voidtype"))),
        };
        state.set("Elements", Value::cells(members));
        mState = state;
    }
    StructType& type() const { return *static_cast<StructType*>(mState.object()); }

 private:
    Value make(const char* className, const std::string& identifier = "") {
        Value made = mSession.construct(std::string("embedded.") + className);
        made.set("Identifier", identifier);
        return made;
    }
    Value number(const std::string& role) {
        Value made = make("numerictype");
        made.set("WordLength", mWords.at("FILTER_" + role + "_BITS"));
        made.set("FractionLength", mWords.at("FILTER_" + role + "_FRACTION"));
        return made;
    }
    Value vectorOf(const Value& base) {
        Value made = make("matrixtype");
        made.set("BaseType", base);
        made.set("Dimensions", std::vector<double>{1, static_cast<double>(mWords.at("FILTER_TAPS"))});
        return made;
    }
    Value pointerTo(const Value& base) {
        Value made = make("pointertype");
        made.set("BaseType", base);
        return made;
    }
    Value member(const char* identifier, const Value& type) {
        Value made = make("structelement", identifier);
        made.set("Type", type);
        return made;
    }
    /// The possible modes of a property of the rules; the default is that of new rules.
    Value modes(const std::string& property) {
        const Value rules = mSession.construct("embedded.fimath");
        const std::string current = rules.get(property).toText();
        const auto& choices = dynamic_cast<const EnumStringType&>(
            *rules.interface()->getClass()->getProperty(property.c_str())->getDataType());
        std::vector<Value> names;
        std::vector<double> values;
        Value made = make("enumtype", property);
        for (const EnumStringType::Entry& entry : choices.getEntries()) {
            if (entry.text == current) {
                made.set("DefaultMember", static_cast<double>(names.size()));
            }
            names.emplace_back(entry.text);
            values.push_back(entry.value);
        }
        made.set("Strings", Value::cells(names));
        made.set("Values", values);
        return made;
    }

    Session& mSession;
    const std::map<std::string, int>& mWords;
    Value mState;
};

std::string textOf(const char* text) {
    return text == nullptr ? "" : text;
}
std::string qualifiersOf(const Type& type) {
    return std::string(type.getReadOnly() ? "const " : "") + (type.getVolatile() ? "volatile " : "");
}
std::vector<StructElement*> elementsOf(const StructType& structure) {
    std::vector<StructElement*> elements;
    for (std::uint64_t i = 0; i < structure.getNumElements(); ++i) {
        elements.push_back(structure.getElementAt(i));
    }
    return elements;
}

// In words

/// "s16,15": sign, bits, fraction; in the host's own words if that isn't complete.
std::string wordsOf(const NumericType& type) {
    if (!type.isFixed() || !type.isBinaryPointScalingSet() || type.isUnspecifiedSign()) {
        return type.tostring("numerictype");
    }
    return (type.isSigned() ? "s" : "u") + std::to_string(type.getWordLength()) + "," +
           std::to_string(type.getFractionLength());
}

/// Describes a type in one phrase, down to the next structure.
class Phrase : public EmbeddedTypeVisitor {
 public:
    static std::string of(Type& type) {
        Phrase phrase;
        type.accept(&phrase);
        return qualifiersOf(type) + phrase.mText;
    }

 private:
    void visitNumericType(NumericType* type) override { mText = wordsOf(*type); }
    void visitCharType(CharType* type) override { mText = number(type->getNumBits()) + "-bit character"; }
    void visitFIEnumType(FIEnumType* type) override {
        for (const std::string& name : type->getStrings()) {
            mText += (mText.empty() ? "one of " : ", ") + name;
        }
    }
    void visitVoidType(VoidType* /*type*/) override { mText = "anything"; }
    void visitOpaqueType(OpaqueType* type) override { mText = "opaque " + textOf(type->getIdentifier()); }
    void visitStructType(StructType* type) override { mText = "structure " + textOf(type->getIdentifier()); }
    void visitPointerType(PointerType* type) override { mText = "pointer to " + of(*type->getBaseType()); }
    void visitComplexType(ComplexType* type) override { mText = "complex " + of(*type->getBaseType()); }
    void visitMatrixType(MatrixType* type) override {
        for (std::uint64_t i = 0; i < type->getNumDimensions(); ++i) {
            mText += (i == 0 ? "" : "-by-") + std::to_string(type->getDimension(i));
        }
        mText += " of " + of(*type->getBaseType());
    }

    std::string mText;
};

// In C

/// Declares structures in C, after the declarations that they need: words in the shortest integer that holds them,
/// matrices column by column, complex numbers as pairs.
class CDeclaration : public EmbeddedTypeVisitor {
 public:
    static std::string of(StructType& structure) {
        CDeclaration declaration;
        declaration.define(structure);
        while (!declaration.mWaiting.empty()) {
            StructType* const next = declaration.mWaiting.back();
            declaration.mWaiting.pop_back();
            declaration.define(*next);
        }
        return "#include <stdint.h>\n\n" + declaration.mText;
    }

 private:
    void define(StructType& structure) {
        if (!mDefined.insert(&structure).second) {
            return;
        }
        std::string members;
        for (const StructElement* element : elementsOf(structure)) {
            members += "    " + declare(*element->getType(), element->getIdentifier()) + ";" + mRemark + "\n";
        }
        mText += "struct " + textOf(structure.getIdentifier()) + " {\n" + members + "};\n";
    }

    /// The declaration of a name: it is built around the name, from the outermost type inward.
    std::string declare(Type& type, const std::string& name) {
        mDeclarator = name;
        mQualifiers = qualifiersOf(type);
        mRemark.clear();
        mIsPointedAt = false;
        type.accept(this);
        return mDeclarator;
    }
    void finish(const std::string& base) { mDeclarator = mQualifiers + base + " " + mDeclarator; }
    void goOn(Type& base) {
        mQualifiers += qualifiersOf(base);
        base.accept(this);
    }

    static std::string integer(int bits, bool isSigned) {
        const int shortest = bits <= 8 ? 8 : bits <= 16 ? 16 : bits <= 32 ? 32 : 64;
        return (isSigned ? "int" : "uint") + std::to_string(shortest) + "_t";
    }
    void visitNumericType(NumericType* type) override {
        mRemark = "  /* " + wordsOf(*type) + " */";
        const int words = (type->getWordLength() + 63) / 64;
        if (type->isFixed() && words > 1) {
            mDeclarator += "[" + std::to_string(words) + "]";
        }
        finish(type->isSingle()    ? "float"
               : type->isBoolean() ? "uint8_t"
               : type->isFixed()   ? integer(type->getWordLength(), type->isSigned())
                                   : "double");
    }
    void visitCharType(CharType* type) override { finish(integer(type->getNumBits(), type->getSignedNess())); }
    void visitVoidType(VoidType* /*type*/) override { finish("void"); }
    void visitOpaqueType(OpaqueType* type) override {
        const std::string name = "struct " + textOf(type->getIdentifier());
        if (mNamed.insert(name).second) {
            mText += name + ";\n\n";
        }
        finish(name);
    }
    void visitFIEnumType(FIEnumType* type) override {
        const std::string name = "enum " + textOf(type->getIdentifier());
        if (mNamed.insert(name).second) {
            mText += name + " {\n";
            for (std::size_t i = 0; i < type->getStrings().size(); ++i) {
                mText += "    " + textOf(type->getIdentifier()) + "_" + type->getStrings()[i] + " = " +
                         number(hvGetPr(type->getHvValues())[i]) + ",\n";
            }
            mText += "};\n\n";
        }
        finish(name);
    }
    void visitStructType(StructType* type) override {
        const std::string declarator = mDeclarator;
        const std::string qualifiers = mQualifiers;
        // A type behind a pointer may be declared later, a part may not.
        if (mIsPointedAt) {
            mWaiting.push_back(type);
        } else {
            define(*type);
        }
        mDeclarator = declarator;
        mQualifiers = qualifiers;
        mRemark.clear();
        finish("struct " + textOf(type->getIdentifier()));
    }
    void visitPointerType(PointerType* type) override {
        mDeclarator = "*" + mQualifiers + mDeclarator;
        mQualifiers.clear();
        mIsPointedAt = true;
        goOn(*type->getBaseType());
    }
    void visitMatrixType(MatrixType* type) override {
        mIsPointedAt = false;
        if (mDeclarator.starts_with('*')) {
            mDeclarator = "(" + mDeclarator + ")";
        }
        for (std::uint64_t i = type->getNumDimensions(); i-- > 0;) {
            const std::uint64_t size = type->getDimension(i);
            if (size > 1 || type->getWidth() == 1) {
                mDeclarator += "[" + std::to_string(size) + "]";
            }
        }
        goOn(*type->getBaseType());
    }
    void visitComplexType(ComplexType* type) override {
        const std::string declarator = std::exchange(mDeclarator, "re");
        const std::string qualifiers = std::exchange(mQualifiers, "");
        goOn(*type->getBaseType());
        const std::string real = std::exchange(mDeclarator, declarator);
        mQualifiers = qualifiers;
        finish("struct { " + real + ", im; }");
    }

    std::string mText;
    std::string mDeclarator, mQualifiers, mRemark;
    bool mIsPointedAt = false;
    std::set<const StructType*> mDefined;
    std::vector<StructType*> mWaiting;
    std::set<std::string> mNamed;
};

// As checksums

/// The checksum of a structure excludes its elements, and that of a matrix its sizes and its base. This one includes
/// the names, sizes and checksums of everything that isn't behind a pointer.
void addAll(const Type& type, MD5CheckSumModEndian& sum) {
    type.addCheckSum(sum);
    if (const auto* matrix = dynamic_cast<const MatrixType*>(&type)) {
        for (std::uint64_t i = 0; i < matrix->getNumDimensions(); ++i) {
            sum.addReal64(static_cast<double>(matrix->getDimension(i)));
        }
        addAll(*matrix->getBaseType(), sum);
    } else if (const auto* structure = dynamic_cast<const StructType*>(&type)) {
        for (const StructElement* element : elementsOf(*structure)) {
            sum.addText(element->getIdentifier());
            addAll(*element->getType(), sum);
        }
    }
}
std::string sumOf(const Type& type) {
    MD5CheckSumModEndian sum;
    addAll(type, sum);
    return sum.getHexDigest();
}

// The report

void report(StructType& state) {
    const std::vector<StructElement*> members = elementsOf(state);
    std::puts("State of the filter between calls, as types of the host\n");
    std::printf("  %s, checksum %s\n", Phrase::of(state).c_str(), sumOf(state).c_str());
    for (const StructElement* member : members) {
        std::printf("    %-14s %.8s  %s\n", member->getIdentifier(), sumOf(*member->getType()).c_str(),
                    Phrase::of(*member->getType()).c_str());
    }
    std::printf("\nIn C\n\n%s\n", CDeclaration::of(state).c_str());

    std::puts("Conversions (= the same type, + converts)\n");
    std::printf("  %-18s", "from \\ to");
    for (std::size_t to = 1; to <= members.size(); ++to) {
        std::printf("%3zu", to);
    }
    for (std::size_t from = 0; from < members.size(); ++from) {
        std::printf("\n  %2zu %-15s", from + 1, members[from]->getIdentifier());
        for (const StructElement* to : members) {
            const Type& type = *members[from]->getType();
            std::printf("  %c", type == *to->getType() ? '=' : type.canBeConvertedTo(to->getType()) ? '+' : '.');
        }
    }
    std::puts("");
}

constexpr const char* kHelp =
    R"(Describes the state that a filter keeps between calls as a tree of C-like types: in words,
in C, as checksums, and as a table of conversions.

Usage: type_report [OPTIONS] HEADER

Positionals:
  HEADER                  The words of the filter: coefficients.h, as filter_study --out writes it

Options:
  -h,--help               Print this help message and exit
  --declaration           Print only the declaration in C

Exit codes:
  0  done
  1  the header is missing, unreadable or not of a filter
  2  bad arguments
)";

int run(const std::vector<std::string>& arguments) {
    std::vector<std::string> headers;
    bool declaresOnly = false;
    std::string bad;
    for (const std::string& argument : arguments) {
        if (argument == "--help" || argument == "-h") {
            std::fputs(kHelp, stdout);
            return 0;
        }
        if (argument == "--declaration") {
            declaresOnly = true;
        } else if (argument.starts_with('-')) {
            bad = "there is no option " + argument;
        } else {
            headers.push_back(argument);
        }
    }
    if (bad.empty() && headers.size() != 1) {
        bad = "give one header";
    }
    if (!bad.empty()) {
        std::cerr << "type_report: " << bad << "\nRun with --help for the options.\n";
        return 2;
    }
    const std::map<std::string, int> words = readWords(headers[0]);
    Session session;
    const FilterState state(session, words);
    if (declaresOnly) {
        std::fputs(CDeclaration::of(state.type()).c_str(), stdout);
    } else {
        report(state.type());
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    int code = 0;
    const int failed = runTour("type_report", [&] { code = run({argv + (argc > 0 ? 1 : 0), argv + argc}); });
    return failed != 0 ? failed : code;
}
