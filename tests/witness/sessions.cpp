// Programs as a user of the host writes them: methods and functions by name, properties, subscripts, saved files.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "host/front/front.h"
#include "tests/witness/program.h"

namespace {

using hostref::Session;
using hostref::Subscript;
using hostref::Value;

/// Open for the lifetime of the process, as modules and functions remain in any case.
Session& session() {
    static Session opened;
    static const bool isInstalled = (front::install(opened), true);
    static_cast<void>(isInstalled);
    return opened;
}

struct SessionCase {
    SessionCase(Draw& source, Transcript& transcript) : draw(source), out(transcript), theme(source) {
        if (theme.isLarge) {
            theme.rows = theme.columns = 4;
        }
        session().callStatic("embedded.qlogger", "SetLoggingMode", {draw.percent(65)});
        if (draw.oneIn(6)) {
            session().callStatic("embedded.qlogger", "SetLogType", {1});
            embedded::setFeatureFiTagLogging(true);
        }
        embedded::setFeatureFi33PlusMemoryFootprint(draw.oneIn(2));
        if (draw.oneIn(3)) {
            fimath::setGlobalFimath(theme.rules);
        }
        for (int i = draw.between(2, 3); i > 0; --i) {
            attempt(out, [&] { pool.push_back(made()); });
        }
        if (pool.empty()) {
            pool.push_back(session().construct("embedded.fi"));
        }
        for (const Value& value : pool) {
            show(out, "made", value);
        }
    }
    ~SessionCase() {
        pool.clear();
        drain();
    }
    static void drain() {
        session().takeWarnings();
        session().takePrinted();
    }

    Value typeValue() {
        return hvArrayOwner(NumericType::convertToExternalVelmarArray(std::make_unique<NumericType>(theme.type(draw))));
    }
    Value rulesValue(const fimath& rules) {
        return hvArrayOwner(fimath::convertToExternalVelmarArray(std::make_unique<fimath>(rules)));
    }
    Value quantizerValue() {
        const Value q = session().construct("embedded.quantizer");
        q.set("format", std::vector<double>{static_cast<double>(theme.wordLength(draw)), draw.between(1, 20) * 1.0});
        return q;
    }
    /// Values for arrays of the theme.
    Value plain(const Sizes& sizes) {
        const bool isComplex = theme.isComplex(draw);
        const hvClassID classId =
            draw.of({hvDOUBLE_CLASS, hvDOUBLE_CLASS, hvDOUBLE_CLASS, hvSINGLE_CLASS, hvINT16_CLASS});
        return hostArray(draw, theme.type(draw), sizes, classId, isComplex);
    }
    Value made() {
        const Sizes sizes = theme.sizes(draw);
        const NumericType type = theme.type(draw);
        const bool isComplex = theme.isComplex(draw) && !type.isBoolean();
        const Value values = hostArray(draw, type, sizes, hvDOUBLE_CLASS, isComplex);
        const Value wrapped =
            hvArrayOwner(NumericType::convertToExternalVelmarArray(std::make_unique<NumericType>(type)));
        const int form = draw.between(0, 9);
        const Value result = form == 0  ? session().construct("embedded.fi", {values})
                             : form < 4 ? session().construct("embedded.fi", {values, wrapped})
                             : form < 5
                                 ? session().construct("embedded.fi", {values, wrapped, draw.oneIn(2)})
                                 : session().construct("embedded.fi", {values, wrapped, rulesValue(theme.rules)});
        if (draw.oneIn(4)) {
            result.set("Tag", draw.tag());
        }
        return result;
    }
    static const fi& arrayIn(const Value& value) { return *static_cast<const fi*>(value.object()); }
    static bool isFi(const Value& value) { return value.isObject() && value.className() == "embedded.fi"; }

    void prepare(int /*wants*/) {
        a = pool[draw.below(pool.size())];
        const fi& array = arrayIn(a);
        for (std::size_t i = 0, start = draw.below(pool.size()); i < pool.size(); ++i) {
            b = pool[(start + i) % pool.size()];
            if (arrayIn(b).isSameSize(array) || arrayIn(b).isscalar()) {
                break;
            }
        }
        if (draw.oneIn(4)) {
            b = plain(draw.oneIn(2) ? Sizes{1, 1} : Sizes(array.dims(), array.dims() + array.ndims()));
        }
    }
    void finish() {
        show(out, "  left", a);
        if (draw.oneIn(3)) {
            show(out, "  right", b);
        }
        showSession(out);
        drain();
        if (isFi(fresh) && arrayIn(fresh).numel() < 400 && draw.oneIn(3)) {
            pool.size() < 5 ? pool.push_back(fresh) : void(pool[draw.below(pool.size())] = fresh);
        }
        fresh = Value();
    }
    void keep(const Value& result) {
        show(out, "  result", result);
        fresh = result;
    }

    Value argument(char code);
    Value index();
    std::vector<Subscript> path();
    void run();

    Draw& draw;
    Transcript& out;
    Theme theme;
    const char* row = nullptr;
    Value a, b;
    Value fresh;
    std::vector<Value> pool;
};

using Case = SessionCase;

/// An argument by its letter in the name of a row.
Value SessionCase::argument(char code) {
    const fi& array = arrayIn(a);
    switch (code) {
        case 'a':
            return a;
        case 'b':
            return b;
        case 'f':
            // An array of the class, a vector only by chance.
            return pool[draw.below(pool.size())];
        case 'R':
            return array.isreal() || draw.oneIn(6) ? a : session().call("real", {a});
        case 'N':
            return array.isreal() && draw.oneIn(8) ? a : session().call("realabs", {argument('R')});
        case 'i': {
            // As many rows as a has columns, for matrix products; otherwise anything short.
            const std::uint64_t inner = array.ndims() == 2 ? array.getN() : 1;
            const Value values = plain({inner, 1 + draw.below(3)});
            return draw.oneIn(2) ? values
                                 : session().construct("embedded.fi", {values, typeValue(), rulesValue(theme.rules)});
        }
        case 'c': {
            const Value values = plain({1, 1 + draw.below(6)});
            return draw.oneIn(2) ? values
                                 : session().construct("embedded.fi", {values, typeValue(), rulesValue(theme.rules)});
        }
        case 't':
            return typeValue();
        case 'T':
            return hvArrayOwner(NumericType::convertToExternalVelmarArray(
                std::make_unique<NumericType>(draw.oneIn(2), array.getWordLength(), draw.between(-3, 20))));
        case 'r':
            return rulesValue(draw.oneIn(2) ? theme.rules : theme.anyRules(draw));
        case 'q':
            return quantizerValue();
        case 'v':
            return plain(theme.sizes(draw));
        case 'n':
            return draw.between(0, 3);
        case 'k':
            return draw.between(-3, 3);
        case 'w':
            return draw.of({2, 8, 10, 16});
        case 'l':
            return draw.oneIn(2);
        case 'e':
            return static_cast<double>(draw.below(array.numel() + (draw.oneIn(20) ? 2 : 0))) + 0.0;
        case 'p':
            return draw.between(1, std::max(1, array.getWordLength()));
        case 'z':
            return hvArrayOwner(hostRow({static_cast<double>(array.getN()), static_cast<double>(array.getM())}));
        case 's':
            return static_cast<double>(std::max<std::uint64_t>(array.getM(), 1));
        case 'd':
            return draw.between(-64, 64) / 8.0;
        case '1':
            return 1;
        default:
            return draw.tag();
    }
}

/// A method of a's class, or a function, by the letters after its name; with a leading dot it is called by the class.
void callByName(Case& c) {
    const std::string row = c.row;
    const std::size_t space = row.find(' ');
    const bool isStatic = row[0] == '.';
    const std::string name = row.substr(isStatic ? 1 : 0, space - (isStatic ? 1 : 0));
    std::vector<Value> arguments;
    int results = 1;
    for (std::size_t i = space + 1; i < row.size(); ++i) {
        if (row[i] == '>') {
            results = row[i + 1] - '0';
            break;
        }
        arguments.push_back(c.argument(row[i]));
        if (std::string_view("abf").find(row[i]) == std::string_view::npos) {
            show(c.out, "  argument", arguments.back());
        }
    }
    const std::vector<Value> given = isStatic ? session().callStatic(results, "embedded.fi", name, arguments)
                                              : session().call(results, name, arguments);
    for (const Value& result : given) {
        c.keep(result);
    }
}

std::vector<Row<Case>> rowsOf(std::initializer_list<const char*> names, void (*run)(Case&), std::uint64_t weight = 4) {
    std::vector<Row<Case>> rows;
    for (const char* name : names) {
        rows.push_back({name, 0, run, weight});
    }
    return rows;
}

std::span<Row<Case>> arithmetic() {
    static std::vector<Row<Case>> rows = rowsOf({"plus ab",
                                                 "minus ab",
                                                 "times ab",
                                                 "mtimes ai",
                                                 "plus ba",
                                                 "minus ba",
                                                 "times ba",
                                                 "convF ac",
                                                 "convS ac",
                                                 "convV ac",
                                                 "leadingdimension_sum a",
                                                 "divide tab",
                                                 "add rab",
                                                 "sub rab",
                                                 "mpy rab",
                                                 "sqrt N",
                                                 "sqrt Nt",
                                                 "realabs R",
                                                 "realabs Rt",
                                                 "realabs Rr",
                                                 "abs a",
                                                 "abs at",
                                                 "sum a",
                                                 "sum a1",
                                                 "conv fc",
                                                 "rdivide ab",
                                                 "binaryop_complex RR",
                                                 "uminus a",
                                                 "conj a",
                                                 "pow2 ak",
                                                 "bitshift ak"},
                                                callByName);
    return rows;
}

std::span<Row<Case>> others() {
    static std::vector<Row<Case>> rows = rowsOf({"eq ab",
                                                 "ne ab",
                                                 "lt ab",
                                                 "gt ab",
                                                 "le ab",
                                                 "ge ba",
                                                 "binaryop_isequal ab",
                                                 "isequal ab",
                                                 "binary_max ab",
                                                 "binary_min ab",
                                                 "unary_max a>2",
                                                 "unary_min a>2",
                                                 "max a>2",
                                                 "min a>2",
                                                 "max ab",
                                                 "sign R",
                                                 "stridesort al1s",
                                                 "stridesort2 al1s>2",
                                                 "transpose a",
                                                 "ctranspose a",
                                                 "squeeze a",
                                                 "fi_reshape az",
                                                 "diag a",
                                                 "diag ak",
                                                 "tril ak",
                                                 "triu ak",
                                                 "toeplitz ca",
                                                 "hankel cc",
                                                 "horzcat aa",
                                                 "vertcat ab",
                                                 "real a",
                                                 "imag a",
                                                 "bitand aa",
                                                 "bitor aa",
                                                 "bitxor aa",
                                                 "bitcmp a",
                                                 "bitget Rp",

                                                 "bitset Rpl",
                                                 "stripscaling a",
                                                 "reinterpretcast aT",
                                                 "realmax a",
                                                 "realmin a",
                                                 "fieps a",
                                                 "intmax a",
                                                 "intmin a",
                                                 "lowerbound a",
                                                 "upperbound a",
                                                 "range a",
                                                 "range a>2",
                                                 "copy a",
                                                 "copydata aa>0",
                                                 "copydata ab>0",
                                                 "get_element ae",
                                                 "set_element aed>0",
                                                 "numerictype a",
                                                 "fimath a",
                                                 "getqloggerstruct an",
                                                 "double a",
                                                 "single a",
                                                 "int a",
                                                 "intarray a",
                                                 "dravelinarray a",
                                                 "bin a",
                                                 "oct a",
                                                 "dec a",
                                                 "hex a",
                                                 "num2base aw",
                                                 "num2sdec a",
                                                 "maxlog a",
                                                 "minlog a",
                                                 "noverflows a",
                                                 "nunderflows a",
                                                 "noperations a",
                                                 "nmathoperations a",
                                                 "size a",
                                                 "size a>2",
                                                 "size a1",
                                                 "length a",
                                                 "numberofelements a",
                                                 "isfimathlocal a",
                                                 "LastPropertySet a",
                                                 "resetlogging a>0",
                                                 "resetgloballog a>0",
                                                 "displaygloballog a>0",
                                                 "consolidatelocalfilogs a>0",
                                                 "quantizenumeric qv",
                                                 "set_element aeb>0",
                                                 ".simfi tv",
                                                 ".GetNumericTypeForPlus ttr",
                                                 ".GetNumericTypeForTimes ttr",
                                                 ".GetNumericTypeForMatrixTimes ttr",
                                                 ".GetNumericTypeForSum tr",
                                                 ".GetBestPrecisionForHvArray tv",
                                                 "subscriptedreference ae",
                                                 "disp a>0",
                                                 "todoublecell a"},
                                                callByName);
    return rows;
}

/// One index along a dimension: a position, positions, a mask, or all.
Value SessionCase::index() {
    switch (draw.below(5)) {
        case 0:
            return hostref::colon();
        case 1: {
            std::vector<double> places(draw.below(4));
            for (double& place : places) {
                place = draw.between(1, 4);
            }
            return places;
        }
        case 2:
            return Value(hostArray(draw, NumericType(), {1, 1 + draw.below(3)}, hvLOGICAL_CLASS, false));
        default:
            return draw.between(1, 4);
    }
}
std::vector<Subscript> SessionCase::path() {
    const auto count = static_cast<double>(arrayIn(a).numel());
    if (draw.oneIn(2)) {
        const double place = std::floor(count * draw.between(0, 9) / 9.0) + (draw.oneIn(8) ? 1.0 : 0.0);
        return {hostref::paren(draw.oneIn(3) ? index() : Value(std::max(place, 1.0)))};
    }
    const Value first = index();
    return {hostref::paren(first, index())};
}

constexpr const char* kRead[] = {"numerictype",
                                 "DataTypeMode",
                                 "DataTypeModeNoWarning",
                                 "DataType",
                                 "Scaling",
                                 "Signed",
                                 "Signedness",
                                 "SignednessBool",
                                 "WordLength",
                                 "FractionLength",
                                 "FixedExponent",
                                 "Slope",
                                 "SlopeAdjustmentFactor",
                                 "Bias",
                                 "fimath",
                                 "RoundMode",
                                 "OverflowMode",
                                 "ProductMode",
                                 "ProductWordLength",
                                 "MaxProductWordLength",
                                 "ProductFractionLength",
                                 "ProductFixedExponent",
                                 "ProductSlope",
                                 "ProductBias",
                                 "SumMode",
                                 "SumWordLength",
                                 "MaxSumWordLength",
                                 "SumFractionLength",
                                 "SumFixedExponent",
                                 "SumSlope",
                                 "SumBias",
                                 "CastBeforeSum",
                                 "Logging",
                                 "isautoscaled",
                                 "datasetbypvpair",
                                 "fimathislocal",
                                 "double",
                                 "data",
                                 "int",
                                 "intarray",
                                 "dravelinarray",
                                 "bin",
                                 "oct",
                                 "dec",
                                 "hex",
                                 "noverflows",
                                 "nunderflows",
                                 "maxlog",
                                 "minlog",
                                 "Tag"};

/// A property that users write, with a value.
std::pair<const char*, Value> setting(Case& c) {
    switch (c.draw.below(20)) {
        case 0:
            return {"RoundMode", c.draw.of({"ceil", "convergent", "fix", "floor", "nearest", "round", "up"})};
        case 1:
            return {"OverflowMode", c.draw.of({"saturate", "wrap"})};
        case 2:
            return {"ProductMode", c.draw.of({"FullPrecision", "KeepLSB", "KeepMSB", "SpecifyPrecision"})};
        case 3:
            return {"SumMode", c.draw.of({"FullPrecision", "KeepLSB", "KeepMSB", "SpecifyPrecision"})};
        case 4:
            return {"ProductWordLength", c.theme.wordLength(c.draw)};
        case 5:
            return {"SumWordLength", c.theme.wordLength(c.draw)};
        case 6:
            return {"MaxSumWordLength", c.draw.of({64, 128, 65535, 0})};
        case 7:
            return {"MaxProductWordLength", c.draw.of({64, 128, 65535, 70000})};
        case 8:
            return {"ProductFractionLength", c.draw.between(-4, 30)};
        case 9:
            return {"SumFractionLength", c.draw.between(-4, 30)};
        case 10:
            return {"CastBeforeSum", c.draw.oneIn(2)};
        case 11:
            return {"fimath", c.argument('r')};
        case 12:
            return {"fimathislocal", c.draw.oneIn(2)};
        case 13:
            return {"ProductSlopeAdjustmentFactor", c.draw.of({1.0, 1.5, 7.0})};
        case 14:
            return {"double", c.argument('v')};
        case 15:
            return {"data", c.argument('v')};
        case 16:
            return {"int", Value(hostWords(c.draw, c.theme.sizes(c.draw), hvINT32_CLASS, false))};
        case 17:
            return {"Tag", c.draw.tag()};
        case 18:
            return {c.draw.of({"hex", "bin", "dec", "oct"}), c.draw.of({"01", "1", "7", "10  11"})};
        default:
            return {"data", c.draw.between(-99, 99) / 4.0};
    }
}

/// Objects of the other classes: their properties by name, with values that most of them accept, and their query
/// methods.
struct Descriptor {
    const char* const* names;
    std::size_t nameCount;
    std::initializer_list<const char*> methods;
};
constexpr const char* kTypeNames[] = {"WordLength",
                                      "FractionLength",
                                      "FixedExponent",
                                      "Slope",
                                      "SlopeAdjustmentFactor",
                                      "Bias",
                                      "Signedness",
                                      "SignednessBool",
                                      "Signed",
                                      "DataTypeMode",
                                      "DataType",
                                      "Scaling",
                                      "DataTypeOverride",
                                      "PrivDLGWordLengthString",
                                      "PrivDLGSlopeString",
                                      "BinaryPoint"};
constexpr const char* kRuleNames[] = {"RoundMode",
                                      "OverflowMode",
                                      "ProductMode",
                                      "SumMode",
                                      "ProductWordLength",
                                      "MaxProductWordLength",
                                      "ProductFractionLength",
                                      "ProductFixedExponent",
                                      "ProductSlope",
                                      "ProductSlopeAdjustmentFactor",
                                      "ProductBias",
                                      "SumWordLength",
                                      "MaxSumWordLength",
                                      "SumFractionLength",
                                      "SumFixedExponent",
                                      "SumSlope",
                                      "SumSlopeAdjustmentFactor",
                                      "SumBias",
                                      "CastBeforeSum",
                                      "PrivDLGProductWordLengthString",
                                      "PrivDLGSumSlopeString"};
constexpr const char* kQuantizerNames[] = {
    "mode",           "datamode",  "roundmode", "overflowmode", "format",      "wordlength",  "fractionlength",
    "exponentlength", "precision", "max",       "min",          "maxlog",      "noverflows",  "nunderflows",
    "noperations",    "realmax",   "realmin",   "eps",          "exponentmax", "denormalmin", "Tag"};
constexpr const char* kLogNames[] = {"Max", "Min", "NOverflows", "NUnderflows", "NOperations", "Tag"};

/// A value for a property of any of these classes, by its name.
Value valueNamed(Case& c, const std::string& name) {
    const auto has = [&](const char* part) { return name.find(part) != std::string::npos; };
    Draw& draw = c.draw;
    return has("String")                              ? Value(draw.of({"12", "2+3", "1.5", "x"}))
           : has("ordLength") || name == "wordlength" ? Value(c.theme.wordLength(draw))
           : has("ractionLength") || has("xponent") || has("BinaryPoint") || has("fractionlength")
               ? Value(draw.between(-4, 20))
           : has("Factor") || has("Slope")                        ? Value(draw.of({1.0, 1.0, 1.5, 0.25, 3.0}))
           : has("Bool") || has("CastBefore") || name == "Signed" ? Value(draw.oneIn(2))
           : has("ignedness")                                     ? Value(draw.of({"Signed", "Unsigned", "Auto"}))
           : has("oundMode") || has("roundmode")
               ? Value(draw.of({"ceil", "convergent", "fix", "floor", "nearest", "round"}))
           : has("verflowMode") || has("overflowmode") ? Value(draw.of({"saturate", "wrap"}))
           : has("DataTypeMode")
               ? Value(draw.of({"Fixed-point: binary point scaling", "Fixed-point: slope and bias scaling", "Double",
                                "Scaled double: binary point scaling", "Single", "Boolean",
                                "Fixed-point: unspecified scaling"}))
           : has("Override") ? Value(draw.of({"Inherit", "Off"}))
           : has("DataType") ? Value(draw.of({"Fixed", "ScaledDouble", "double", "single"}))
           : has("Scaling")  ? Value(draw.of({"BinaryPoint", "SlopeBias", "Unspecified"}))
           : has("ProductMode") || has("SumMode")
               ? Value(draw.of({"FullPrecision", "KeepLSB", "KeepMSB", "SpecifyPrecision"}))
           : has("mode")   ? Value(draw.of({"fixed", "ufixed", "float", "double", "single", "none"}))
           : has("format") ? Value(std::vector<double>{draw.between(2, 70) * 1.0, draw.between(1, 12) * 1.0})
           : has("Tag")    ? Value(draw.tag())
                           : Value(draw.between(0, 40) / 4.0);
}

void describe(Case& c) {
    static const Descriptor kinds[] = {
        {kTypeNames,
         std::size(kTypeNames),
         {"tostring", "qpointstr", "disp", "isdouble", "isfixed", "isscalingslopebias", "isslopebiasscaled"}},
        {kRuleNames, std::size(kRuleNames), {"tostring", "disp", "isfimath"}},
        {kQuantizerNames, std::size(kQuantizerNames), {"disp", "upperbound", "lowerbound", "isquantizer", "resetlog"}},
        {kLogNames, std::size(kLogNames), {"disp"}}};
    const std::size_t which = c.draw.below(4);
    c.out("  kind", which);
    const Value object = which == 0   ? c.typeValue()
                         : which == 1 ? c.argument('r')
                         : which == 2 ? c.quantizerValue()
                                      : c.a.call("getqloggerstruct", {c.draw.between(0, 2)});
    const Descriptor& kind = kinds[which];
    for (int i = 0; i < 8; ++i) {
        const char* const name = kind.names[c.draw.below(kind.nameCount)];
        const Value value = valueNamed(c, name);
        c.out("  property", name);
        show(c.out, "  value", value);
        attempt(c.out, [&] { object.set(name, value); });
        attempt(c.out, [&] { show(c.out, "  read", object.get(name)); });
    }
    show(c.out, "  object", object);
    for (const char* method : kind.methods) {
        attempt(c.out, [&] {
            for (const Value& result :
                 session().call(std::string_view(method) == "disp" || std::string_view(method) == "resetlog" ? 0 : 1,
                                method, {object})) {
                show(c.out, "  answer", result);
            }
        });
    }
    if (which == 2) {
        show(c.out, "  quantized", session().call("quantizenumeric", {object, c.plain({1, 3})}));
        show(c.out, "  text", session().call("num2base", {object, c.draw.between(-9, 9) / 8.0, 2}));
        show(c.out, "  number", session().call("base2num", {object, "0110", 2}));
        show(c.out, "  object", object);
    } else if (which == 0) {
        show(c.out, "  array", session().construct("embedded.fi", {c.plain({1, 3}), object}));
    }
}

Row<Case> handling[] = {
    {"describe", 0, describe, 10},
    {"choices", 0,
     [](Case& c) {
         c.keep(session().call("set", {c.a, c.draw.of({"RoundMode", "SumMode", "Tag"})}));
     },
     2},
    {"fi", 0,
     [](Case& c) {
         const Value values = c.plain({1, 1 + c.draw.below(3)});
         const int bits = c.theme.wordLength(c.draw);
         const int fraction = c.draw.between(0, 12);
         c.out("  lengths", bits, fraction);
         const int form = c.draw.between(0, 4);
         c.keep(form == 0   ? session().call("fi", {values})
                : form == 1 ? session().call("fi", {values, 1})
                : form == 2 ? session().call("fi", {values, c.draw.between(0, 1), bits})
                : form == 3 ? session().call("fi", {values, c.draw.between(0, 1), bits, fraction})
                            : session().call("fi", {c.a, c.draw.between(0, 1), bits, fraction, "RoundMode", "floor"}));
     },
     6},
    {"index", 0,
     [](Case& c) {
         const std::vector<Subscript> path = c.path();
         c.keep(session().index(c.a, path));
     },
     20},
    {"assign", 0,
     [](Case& c) {
         const std::vector<Subscript> path = c.path();
         const Value right = c.draw.oneIn(3)   ? Value(c.draw.between(-999, 999) / 4.0)
                             : c.draw.oneIn(3) ? c.plain({1, 1 + c.draw.below(2)})
                                               : c.b;
         show(c.out, "  right side", right);
         c.keep(session().assign(c.a, path, right));
     },
     20},
    {"delete", 0,
     [](Case& c) {
         const std::vector<Subscript> path = c.path();
         c.keep(session().assign(c.a, path, Value()));
     },
     4},
    {"grow", 0,
     [](Case& c) {
         const auto count = static_cast<double>(SessionCase::arrayIn(c.a).numel());
         const double right = c.draw.between(-999, 999) / 4.0;
         c.keep(session().assign(c.a, {hostref::paren(count + c.draw.between(1, 3))}, right));
     },
     8},
    {"new", 0, [](Case& c) { c.keep(c.made()); }, 16},
    {"get", 0,
     [](Case& c) {
         const char* const name = c.draw.of(std::span<const char* const>(kRead));
         c.out("  property", name);
         c.keep(c.a.get(name));
     },
     24},
    {"set", 0,
     [](Case& c) {
         const auto [name, value] = setting(c);
         c.out("  property", name);
         show(c.out, "  value", value);
         c.a.set(name, value);
     },
     32},
    {"display", 0, [](Case& c) { session().display(c.draw.oneIn(4) ? c.typeValue() : c.a); }, 4},
    {"global rules", 0,
     [](Case& c) {
         session().callStatic("embedded.fimath", "SetGlobalFimath", {c.argument('r')});
         if (c.draw.oneIn(2)) {
             session().callStatic("embedded.fimath", "ResetGlobalFimath");
         }
     },
     4},
    {"logging", 0, [](Case& c) { session().callStatic("embedded.qlogger", "SetLoggingMode", {c.draw.percent(70)}); },
     6},
    {"getlogs", 0, [](Case& c) { c.keep(session().callStatic("embedded.filog", "getlogs")); }, 2},
    {"save and load", 0,
     [](Case& c) {
         const std::filesystem::path file =
             std::filesystem::temp_directory_path() / ("witness" + std::to_string(getpid()) + ".h5");
         attempt(c.out, [&] {
             session().save(file, {{"a", c.a}, {"b", c.b}});
             c.keep(session().load(file, "b"));
             c.keep(session().load(file, "a"));
         });
         std::filesystem::remove(file);
     },
     1},
};

std::span<Area<Case>> areas() {
    static Area<Case> all[] = {{"arithmetic", 8, arithmetic()}, {"others", 8, others()}, {"handling", 10, handling}};
    return all;
}

void SessionCase::run() {
    for (int steps = draw.between(3, 12); steps > 0; --steps) {
        runStep(*this, areas());
    }
    for (const Value& value : pool) {
        show(out, "at the end", value);
    }
}

}  // namespace

void openSession() {
    session();
}

const Kind kSessionPrograms = {"sessions", 20, [](Draw& draw, Transcript& out) { SessionCase(draw, out).run(); },
                               [](SummaryLine line) { summarizeAreas(areas(), line); }};
