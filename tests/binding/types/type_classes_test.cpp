// The classes of C-like types as a user of the host has them: values, refusals, and who keeps whom.
#include <sstream>

#include "tests/binding/session_support.h"

namespace {

const char* const concrete[] = {"pointertype", "complextype", "voidtype",    "opaquetype", "chartype",
                                "matrixtype",  "structtype",  "numerictype", "enumtype"};

class TypeClasses : public BindingTest {
 protected:
    /// An object of a class of the package by its short name, complete where a part makes it so.
    Value make(const std::string& name) {
        return name == "opaquetype" ? session.construct("embedded.opaquetype", {"hidden"})
                                    : session.construct("embedded." + name);
    }
    Value of(const std::string& name, const Value& base) {
        const Value made = make(name);
        made.set("BaseType", base);
        return made;
    }
    Value element(const char* identifier, const Value& type) {
        const Value made = make("structelement");
        made.set("Identifier", identifier);
        made.set("Type", type);
        return made;
    }
    Value structure(const std::vector<std::pair<const char*, Value>>& members) {
        std::vector<Value> elements;
        for (const auto& [identifier, type] : members) {
            elements.push_back(element(identifier, type));
        }
        const Value made = make("structtype");
        made.set("Elements", Value::cells(elements));
        return made;
    }
    /// As the host shows a value or the cells of one; nothing for what is empty.
    static std::string textOf(const Value& value) {
        std::ostringstream text;
        if (value.isArray() && hvIsCell(value.array())) {
            for (std::size_t i = 0; i < value.numberOfElements(); ++i) {
                text << value.cell(i) << ' ';
            }
        } else if (value.isObject() || !value.isEmpty()) {
            text << value;
        }
        return text.str();
    }
};

TEST_F(TypeClasses, AreMadeOfNothingSaveForAnOpaqueTypesName) {
    for (const std::string name : {"type", "scalartype"}) {
        EXPECT_EQ(makingRefusal("embedded." + name).id, "VELMAR:class:notConstructible");
    }
    for (const std::string name : concrete) {
        EXPECT_EQ(makingRefusal("embedded." + name, {"one", "more"}).id,
                  "fixedpoint:" + name + ":nargchk:tooManyInputs");
    }
    EXPECT_EQ(make("opaquetype").get("Identifier"), Value("hidden"));
    EXPECT_EQ(session.construct("embedded.opaquetype").get("Identifier").toText(), "");
    for (const Value& given : {Value(std::string(129, 'x')), Value(5), make("voidtype")}) {
        EXPECT_EQ(
            makingRefusal("embedded.opaquetype", {given}),
            (Raised{"embeddedtype:string:InvalidStringParam", "Parameter must be a string less than 128 characters"}));
    }
}

TEST_F(TypeClasses, KeepTheirFieldsAndRefuseOthers) {
    const std::string limit(128, 'x');
    struct Row {
        const char* name;
        const char* property;
        const char* first;
        Value written;
        std::string read;  // afterwards; of a refusal the id
    };
    const std::vector<Value> names = {"on", "off"};
    const Value both = Value::cells(names);
    std::vector<Row> rows = {
        {"chartype", "WordLength", "8", 16, "16"},
        {"chartype", "Signed", "true", false, "false"},
        {"enumtype", "WordLength", "32", 4, "4"},
        {"enumtype", "Signed", "true", false, "false"},
        {"enumtype", "DefaultMember", "0", 1, "1"},
        {"enumtype", "Values", "", 1, "embeddedtype:enum:ValuesandStringsMismatch"},
        {"enumtype", "Strings", "", both, "'on' 'off' "},
        {"enumtype", "Strings", "", 3, "VELMAR:datatype:badValue"},
        {"matrixtype", "FrameData", "false", true, "true"},
        {"matrixtype", "Dimensions", "", Numbers{2, 3}, "[2 3]"},
        {"matrixtype", "Dimensions", "", Numbers{2, 3, 1}, "embeddedtype:matrix:InvalidDims"},
        {"matrixtype", "BaseType", "", Value(), ""},
        {"structelement", "Identifier", "", limit, "'" + limit + "'"},
        {"structelement", "Identifier", "", limit + "x", "embeddedtype:string:InvalidStringParam"},
        {"structtype", "Elements", "", both, "VELMAR:datatype:badValue"},
    };
    for (const char* const name : concrete) {
        rows.push_back({name, "Path", "", "here", "VELMAR:class:noSetAccess"});
        rows.push_back({name, "Name", "", limit, "'" + limit + "'"});
        rows.push_back({name, "Name", "", limit + "x", "embeddedtype:string:InvalidStringParam"});
        rows.push_back({name, "ReadOnly", "false", true, "true"});
        rows.push_back({name, "Volatile", "false", true, "true"});
    }
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name + std::string(".") + row.property);
        const Value object = make(row.name);
        EXPECT_EQ(textOf(object.get(row.property)), row.first);
        const Raised raised = thrownBy([&] { object.set(row.property, row.written); });
        EXPECT_EQ(raised == Raised{} ? textOf(object.get(row.property)) : raised.id, row.read);
        EXPECT_TRUE(raised == Raised{} || textOf(object.get(row.property)) == row.first);
    }
    const Value modes = make("enumtype");
    modes.set("Strings", both);
    modes.set("Values", Numbers{-1, 7});
    modes.set("Name", "");  // no text
    EXPECT_EQ(textOf(modes.get("Values")), "[-1 7]");
    modes.set("Strings", both);
    EXPECT_EQ(textOf(modes.get("Values")), "");
}

TEST_F(TypeClasses, AnswerWhatTheyAre) {
    const char* const questions[] = {"isPointer", "isComplex", "isVoid",     "isOpaque",
                                     "isScalar",  "isMatrix",  "isStructure"};
    for (std::size_t i = 0; i < std::size(concrete); ++i) {
        const Value object = make(concrete[i]);
        for (std::size_t k = 0; k < std::size(questions); ++k) {
            const std::size_t yes = i < std::size(questions) ? i : 4;  // the other numbers stand behind the rest
            EXPECT_EQ(object.call(questions[k]), Value(k == yes)) << concrete[i] << questions[k];
        }
        const bool isOpen = std::string_view(concrete[i]) == "matrixtype";
        EXPECT_EQ(thrownBy([&] { EXPECT_EQ(object.call("getWidth"), Value(1)); }).id,
                  isOpen ? "embeddedtype:matrix:InvalidDims" : "");
        EXPECT_TRUE(object.isA("embedded.type") && object.isA("Lorimer.Object"));
    }
    const Value matrix = make("matrixtype");
    matrix.set("Dimensions", Numbers{4, 3, 2});
    EXPECT_EQ(matrix.call("getWidth"), Value(24));
    // Methods that take any handle look at its class.
    for (const char* const method : {"disp", "getWidth", "isScalar"}) {
        for (const Value& other : {make("structelement"), rules({}), Value()}) {
            EXPECT_EQ(staticRefusal("embedded.type", method, {other}).id, "VELMAR:class:WrongObjectType");
        }
    }
}

TEST_F(TypeClasses, HandleOutThePartsThemselvesAndKeepThem) {
    for (const char* const name : {"complextype", "matrixtype", "pointertype"}) {
        const Value number = type(true, 12, 13);
        const Value object = of(name, number);
        EXPECT_EQ(object.get("BaseType"), number);
        number.set("WordLength", 9);
        number.set("Name", "narrow");
        EXPECT_EQ(object.get("BaseType").get("WordLength").toDouble(), 9);
        EXPECT_EQ(object.get("BaseType").get("Name"), Value("narrow"));
        object.set("BaseType", Value());  // an empty array is no value
        EXPECT_EQ(object.get("BaseType"), number);
    }
    // Parts outlive the variables that made them, and are given up with the last composite.
    const Value number = type(true, 12, 13);
    Value deep = structure({{"a", of("pointertype", of("pointertype", number))}, {"b", number}});
    EXPECT_EQ(deep.get("Elements").cell(0).get("Type").get("BaseType").get("BaseType"), number);
    EXPECT_EQ(number.interface()->getNumberOfReferences(), 3);
    deep = Value();
    EXPECT_EQ(number.interface()->getNumberOfReferences(), 1);
    // Elements are copies of those that were given, and those that are read are the structure's own.
    const Value given = element("a", number);
    const Value made = make("structtype");
    made.set("Elements", given);
    given.set("Identifier", "z");
    const Value own = made.get("Elements").cell(0);
    EXPECT_EQ(own.get("Identifier"), Value("a"));
    own.set("Identifier", "b");
    EXPECT_EQ(made.get("Elements").cell(0), own);
    made.set("Elements", Value(hvArrayOwner(hvCreateCellMatrix(0, 0))));
    EXPECT_TRUE(made.get("Elements").isEmpty());
    EXPECT_EQ(own.get("Type"), number);
}

TEST_F(TypeClasses, RefuseWhatTheyCannotBeMadeOfAndStayAsTheyWere) {
    const Value number = type(true, 8, 0);
    const Value complex = of("complextype", number);
    const Value pointer = of("pointertype", number);
    const Value matrix = of("matrixtype", number);
    const Value record = structure({{"a", number}});
    const Value own = record.get("Elements").cell(0);
    const Value constant = type(true, 8, 0);
    constant.set("ReadOnly", true);
    const Value unnamed = make("structelement");
    unnamed.set("Type", number);
    const std::vector<Value> twins = {element("b", number), element("c", number), element("b", pointer)};
    const std::vector<Value> mixed = {element("b", number), number};
    const std::vector<Value> open = {element("b", number), unnamed};
    const struct {
        const Value& object;
        const char* property;
        Value written;
        const char* id;
    } rows[] = {
        {complex, "BaseType", make("chartype"), "embeddedtype:basetype:invalidobject"},
        {complex, "BaseType", own, "embeddedtype:basetype:invalidobject"},
        {complex, "BaseType", constant, "embeddedtype:complexbasetype:invalidbasetype"},
        {matrix, "BaseType", own, "embeddedtype:basetype:invalidobject"},
        {matrix, "BaseType", s16(1), "embeddedtype:basetype:invalidobject"},
        {matrix, "BaseType", 5, "VELMAR:datatype:badValue"},
        {matrix, "BaseType", make("voidtype"), "embeddedtype:matrixbasetype:incompletebasetype"},
        {matrix, "BaseType", of("matrixtype", number), "embeddedtype:matrixbasetype:invalidbasetype"},
        {matrix, "BaseType", of("pointertype", matrix), "embeddedtype:matrixbasetype:recursion"},
        {pointer, "BaseType", rules({}), "embeddedtype:basetype:invalidobject"},
        {pointer, "BaseType", make("matrixtype"), "embeddedtype:pointerbasetype:invalidbasetype"},
        {pointer, "BaseType", of("pointertype", pointer), "embeddedtype:pointerbasetype:recursion"},
        {own, "Type", rules({}), "embeddedtype:basetype:invalidobject"},
        {own, "Type", make("pointertype"), "embeddedtype:elementtype:incompletetype"},
        {own, "Type", record, "embeddedtype:elementtype:invalidtype"},
        {record, "Elements", Value::cells(mixed), "embeddedtype:struct:InvalidElement"},
        {record, "Elements", Value::cells(open), "embeddedtype:struct:IncompleteElement"},
        {record, "Elements", element("b", record), "embeddedtype:struct:RecursiveElement"},
        {record, "Elements", Value::cells(twins), "embeddedtype:struct:NameClash"},
    };
    for (const auto& row : rows) {
        const Raised raised = thrownBy([&, &object = row.object] { object.set(row.property, row.written); });
        EXPECT_EQ(raised.id, row.id);
        if (raised.id == "embeddedtype:basetype:invalidobject") {
            EXPECT_EQ(raised.message, "Parameter must be a valid type object.");
        }
        const Value kept = row.object.get(row.property);
        EXPECT_EQ(kept.isObject() ? kept : kept.cell(kept.numberOfElements() - 1), kept.isObject() ? number : own);
    }
}

TEST_F(TypeClasses, AreShownWithTheirProperties) {
    const Value matrix = of("matrixtype", type(true, 8, 0));
    matrix.set("Dimensions", Numbers{1, 64});
    matrix.set("Name", "taps");
    const std::string fields =
        "          Path: ''\n    Identifier: ''\n          Name: 'taps'\n"
        "      ReadOnly: false\n      Volatile: false\n"
        "      BaseType: [1-by-1 embedded.numerictype]\n    Dimensions: [1 64]\n"
        "     FrameData: false\n";
    session.display(matrix);
    EXPECT_EQ(session.takePrinted(), "embedded.matrixtype\n" + fields);
    session.display(element("y", matrix));
    EXPECT_EQ(session.takePrinted(),
              "embedded.structelement\n    Identifier: 'y'\n          Type: [1-by-1 embedded.matrixtype]\n");
}

}  // namespace
