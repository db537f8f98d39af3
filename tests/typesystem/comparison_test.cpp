// Which types are equal, which convert to which, what a visitor is handed and what enters a checksum, over all classes;
// and that none of it minds deep, shared and cyclic trees.
#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <bit>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>

#include "tests/support/type_trees.h"
#include "typesystem/EmbeddedTypeVisitor.h"
#include "typesystem/MD5CheckSumModEndian.h"

namespace {

using namespace typetrees;
using namespace std::string_literals;

/// One type of each kind, and more where their parts matter.
struct Zoo {
    Owner owner;
    std::map<std::string, Type*> types;

    Zoo() {
        Type* const n = types["n"] = owner.make<NumericType>();
        Type* const n8 = types["n8"] = owner.make<NumericType>(true, 8, 0);
        Type* const c = types["c"] = owner.make<CharType>(false);
        types["cu"] = owner.make<CharType>(16, false, false);
        types["e"] = owner.make<FIEnumType>(false);
        auto* const e8 = owner.make<FIEnumType>(false);
        e8->setNumBits(8);
        types["e8"] = e8;
        auto* const eu = owner.make<FIEnumType>(false);
        eu->setSignedNess(false);
        types["eu"] = eu;
        Type* const v = types["v"] = owner.make<VoidType>(false);
        Type* const o = types["o"] = owner.opaque("o");
        types["o?"] = owner.make<OpaqueType>(false);
        Type* const m6 = types["m6"] = owner.matrix(n, {2, 3});
        Type* const k6 = types["k6"] = owner.matrix(n8, {6});
        types["m32"] = owner.matrix(n, {3, 2});
        MatrixType* const frame = owner.matrix(n, {2, 3});
        frame->setFrameData(true);
        types["mf"] = frame;
        types["m1"] = owner.matrix(n, {1});
        types["mc"] = owner.matrix(c, {6});
        Type* const s1 = types["s1"] = owner.structure({{"a", n}, {"b", m6}});
        types["s2"] = owner.structure({{"a", n}, {"z", k6}});
        types["s3"] = owner.structure({{"a", n8}, {"b", m6}});
        types["s4"] = owner.structure({{"b", m6}, {"a", n}});
        types["s5"] = owner.structure({{"a", n}});
        types["s6"] = owner.structure({{"a", n}, {"b", frame}});
        Type* const zn = types["zn"] = owner.make<ComplexType>(n, false);
        types["zs"] = owner.make<ComplexType>(s1, false);
        types["mz"] = owner.matrix(zn, {1, 1});
        types["pn"] = owner.pointer(n);
        types["pc"] = owner.pointer(c);
        types["pv"] = owner.pointer(v);
        types["po"] = owner.pointer(o);
        types["p?"] = owner.make<PointerType>(false);
        types["m?"] = owner.make<MatrixType>(false);
        types["s?"] = owner.make<StructType>(false);
        types["z?"] = owner.make<ComplexType>(false);
    }
};

std::set<std::string> wordsOf(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

TEST(TypeTree, EqualsTheSameTypeMadeAgainAndNoOther) {
    const Zoo zoo;
    const Zoo again;
    for (const auto& [name, type] : zoo.types) {
        for (const auto& [other, otherType] : zoo.types) {
            EXPECT_EQ(*type == *otherType, name == other) << name << " " << other;
        }
        for (const auto& [other, otherType] : again.types) {
            // A composite without parts equals itself alone.
            const bool isWhole = name == "o?" || name.find('?') == std::string::npos;
            EXPECT_EQ(*type == *otherType, name == other && isWhole) << name << " " << other;
        }
        if (name.find('?') == std::string::npos) {
            Type* const twin = again.types.at(name);
            twin->setName("no matter");
            EXPECT_TRUE(*type == *twin) << name;
            for (const auto set : {&Type::setReadOnly, &Type::setVolatile}) {
                (twin->*set)(true);
                EXPECT_TRUE(twin->hasQualifier());
                EXPECT_FALSE(*type == *twin) << name;
                (twin->*set)(false);
            }
        }
    }
}

TEST(TypeTree, ConvertsToWhatTheRulesOfItsClassName) {
    const std::pair<const char*, const char*> rows[] = {
        {"n n8", "n n8"},
        {"c cu", "c cu"},
        {"e e8 eu", "e e8 eu"},
        {"v", "n n8 c cu e e8 eu v o o? m6 k6 m32 mf m1 mc s1 s2 s3 s4 s5 s6 zn zs mz pn pc pv po p? m? s? z?"},
        {"o o? z?", ""},
        {"m6 k6 m32 mf", "pn m6 k6 m32 mf"},
        {"m1", "pn m1 n n8"},
        {"mc pc", "pc mc"},
        {"s1 s2 s6", "s1 s2 s6"},
        {"s3", "s3"},
        {"s4", "s4"},
        {"s5", "s5"},
        {"zn", "zn"},
        {"zs", "zs"},
        {"mz", "mz zn"},
        {"pn", "pn m6 k6 m32 mf m1"},
        {"pv", "pn pc pv po m6 k6 m32 mf m1 mc mz"},
        {"po", "po"},
        {"p?", "p? m?"},
        {"m?", "p?"},
        {"s?", "s?"},
    };
    const Zoo zoo;
    std::size_t count = 0;
    for (const auto& [sources, targets] : rows) {
        const std::set<std::string> expected = wordsOf(targets);
        for (const std::string& source : wordsOf(sources)) {
            const Type* const type = zoo.types.at(source);
            for (const auto& [target, targetType] : zoo.types) {
                EXPECT_EQ(type->canBeConvertedTo(targetType), expected.contains(target)) << source << " to " << target;
            }
            EXPECT_EQ(type->canBeConvertedTo(nullptr), source == "v") << source;
            ++count;
        }
    }
    EXPECT_EQ(count, zoo.types.size());
}

/// Writes which operation was called, and that it was handed the type itself.
struct Names final : EmbeddedTypeVisitor {
    void visitOpaqueType(OpaqueType* type) override { note("opaque", type); }
    void visitStructType(StructType* type) override { note("struct", type); }
    void visitPointerType(PointerType* type) override { note("pointer", type); }
    void visitMatrixType(MatrixType* type) override { note("matrix", type); }
    void visitComplexType(ComplexType* type) override { note("complex", type); }
    void visitFIEnumType(FIEnumType* type) override { note("enum", type); }
    void visitCharType(CharType* type) override { note("char", type); }
    void visitVoidType(VoidType* type) override { note("void", type); }
    void visitNumericType(NumericType* type) override { note("numeric", type); }
    void note(const char* name, const Type* type) { noted = {name, type}; }
    std::pair<std::string, const Type*> noted;
};

TEST(TypeTree, TellsItsClassToVisitorsAndAskers) {
    const struct {
        const char* names;
        const char* visited;
        const char* ones;  // the predicates that hold: Scalar, Complex, sTructure, Matrix, Void, Pointer, Opaque
        std::uint64_t width;
    } rows[] = {
        {"n n8", "numeric", "S", 1},    {"c cu", "char", "S", 1},        {"e e8 eu", "enum", "S", 1},
        {"v", "void", "V", 1},          {"o o?", "opaque", "O", 1},      {"zn zs z?", "complex", "C", 1},
        {"s1 s5 s?", "struct", "T", 1}, {"pn pv p?", "pointer", "P", 1}, {"m6 k6 mc", "matrix", "M", 6},
    };
    const Zoo zoo;
    EXPECT_FALSE(zoo.types.at("m?")->isComplete());
    for (const auto& row : rows) {
        for (const std::string& name : wordsOf(row.names)) {
            Type* const type = zoo.types.at(name);
            Names names;
            type->accept(&names);
            EXPECT_EQ(names.noted, (std::pair<std::string, const Type*>(row.visited, type)));
            const std::pair<char, unsigned> answers[] = {
                {'S', type->isScalar()}, {'C', type->isComplex()}, {'T', type->isStructure()}, {'M', type->isMatrix()},
                {'V', type->isVoid()},   {'P', type->isPointer()}, {'O', type->isOpaque()}};
            for (const auto& [letter, answer] : answers) {
                EXPECT_EQ(answer, letter == *row.ones ? 1u : 0u) << name << letter;
            }
            EXPECT_EQ(type->isComplete(), name != "v" && (name == "o?" || name.find('?') == name.npos)) << name;
            EXPECT_EQ(type->getWidth(), row.width) << name;
            EXPECT_EQ(type->hash() + type->compare(type), 0u);
        }
    }
}

std::string digestOf(const std::string& bytes) {
    unsigned char digest[16];
    std::size_t size = sizeof(digest);
    EXPECT_EQ(EVP_Q_digest(nullptr, "MD5", nullptr, bytes.data(), bytes.size(), digest, &size), 1);
    return {digest, digest + size};
}
std::string digestOf(const bs_md5ChecksumRec& sum) {
    const auto digest = sum.getDigest();
    return {digest.begin(), digest.end()};
}
std::string sumOf(const Type& type) {
    MD5CheckSumModEndian sum;
    type.addCheckSum(sum);
    return digestOf(sum);
}

TEST(TypeTree, SumsUpItsClassAndNumbersInBigEndianOrder) {
    const Zoo zoo;
    const std::string plain(8, '\0');
    const std::string number =
        "Numeric\0\0\0\4\0\0\0\0\0\0\0\0\0\0\0\1\0\0\0\x10\xff\xff\xff\xf1\x3f\xf0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"s;
    const std::pair<const char*, std::string> rows[] = {
        {"n", number},
        {"c", "char\0\0\0\x08\0\0\0\1"s},
        {"cu", "char\0\0\0\x10\0\0\0\0"s},
        {"e", "fienum"s + std::string(18, '\0') + "\0\0\0\x20\0\0\0\1"s},
        {"v", "void"},
        {"o o?", "opaque"},
        {"zn", "Complex" + number + plain},
        {"zs", "Complex" + plain},
        {"z?", "Complex"},
        {"pn", "pointer" + number + plain},
        {"p?", "pointer"},
        {"m6 mc m? s1 s?", ""},
    };
    for (const auto& [names, bytes] : rows) {
        for (const std::string& name : wordsOf(names)) {
            Type* const type = zoo.types.at(name);
            EXPECT_EQ(sumOf(*type), digestOf(bytes + plain)) << name;
            type->setReadOnly(true);
            EXPECT_EQ(sumOf(*type), digestOf(bytes + "\0\0\0\1\0\0\0\0"s)) << name;
            type->setVolatile(true);
            EXPECT_EQ(sumOf(*type), digestOf(bytes + "\0\0\0\1\0\0\0\1"s)) << name;
            type->setReadOnly(false);
            type->setVolatile(false);
        }
    }
    const Zoo again;
    for (const auto& [name, type] : zoo.types) {
        for (const auto& [other, otherType] : again.types) {
            EXPECT_TRUE(sumOf(*type) == sumOf(*otherType) || !(*type == *otherType)) << name << " " << other;
        }
    }
    NumericType slope(NumericType::DataTypeModeEnum::ScaledDoubleSlopeBias, false, 33, 1.5, 7, -0.1);
    EXPECT_EQ(sumOf(slope), digestOf("Numeric\0\0\0\x09\0\0\0\1\0\0\0\1\0\0\0\0\0\0\0\x21\0\0\0\7\x3f\xf8\0\0\0\0\0\0"
                                     "\xbf\xb9\x99\x99\x99\x99\x99\x9a"s +
                                     plain));
    // Qualifiers of a chain follow its end, from the innermost pointer out.
    Owner owner;
    PointerType* const inner = owner.pointer(owner.make<CharType>(false));
    PointerType* const outer = owner.pointer(inner);
    inner->setReadOnly(true);
    outer->setVolatile(true);
    // A structure that holds itself sums up all the same.
    auto* const self = owner.make<StructType>(1U, false);
    self->setMemberAt(self, "self", 0);
    EXPECT_EQ(sumOf(*self), digestOf(plain));
    EXPECT_EQ(sumOf(*outer),
              digestOf("pointerpointerchar\0\0\0\x08\0\0\0\1"s + plain + "\0\0\0\1\0\0\0\0"s + "\0\0\0\0\0\0\0\1"s));
}

/// Sets the byte order of the machine for its lifetime.
struct Machine : MD5CheckSumModEndian {
    explicit Machine(int order) { machByteOrder = order; }
    ~Machine() { machByteOrder = 0; }
    static int order() { return machByteOrder; }
};

TEST(TypeTree, SumsAlikeOnMachinesOfBothByteOrders) {
    constexpr int kOwn = std::endian::native == std::endian::little ? 1 : 2;
    const std::string expected = digestOf("\x12\x34\x56\x78\xff\xff\xff\xfe\x3f\xb9\x99\x99\x99\x99\x99\x9a"s);
    const struct {
        int order;  // 0 is looked up on first use
        unsigned word, integer;
        std::uint64_t real;
    } machines[] = {{0, 0x12345678U, 0xfffffffeU, 0x3fb999999999999aU},
                    {3 - kOwn, 0x78563412U, 0xfeffffffU, 0x9a9999999999b93fU}};  // the same bytes over there
    for (const auto& [order, word, integer, real] : machines) {
        Machine sum(order);
        sum.addUInt32(word);
        sum.addInt32(static_cast<int>(integer));
        sum.addReal64(std::bit_cast<double>(real));
        EXPECT_EQ(digestOf(sum), expected);
        EXPECT_EQ(Machine::order(), order == 0 ? kOwn : order);
        EXPECT_EQ(Machine::getUniformedUInt32(1), Machine::order() == 1 ? 1u : 0x1000000u);
    }
}

/// Types by number, as an oracle sees them: leaves, structures, and matrices of and pointers to them.
struct Node {
    enum Kind { leaf, structure, matrix, pointer } kind;
    std::size_t size = 0;  // of a matrix; of a leaf which one it is
    std::vector<std::size_t> parts{};
};

/// The greatest relation on pairs of types that agrees with a rule, by striking out until nothing changes.
template <class Rule>
std::vector<std::vector<bool>> greatest(const std::vector<Node>& nodes, Rule rule) {
    std::vector<std::vector<bool>> holds(nodes.size(), std::vector<bool>(nodes.size(), true));
    for (bool isChanged = true; isChanged;) {
        isChanged = false;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            for (std::size_t j = 0; j < nodes.size(); ++j) {
                if (holds[i][j] && i != j && !rule(holds, i, j)) {
                    holds[i][j] = false;
                    isChanged = true;
                }
            }
        }
    }
    return holds;
}

TEST(TypeTree, ComparesAndConvertsAnyGraphOfTypes) {
    static constexpr const char* kNames[] = {"a", "b", "c"};
    std::mt19937 random(11);
    const auto below = [&random](std::size_t end) {
        return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
    };
    std::size_t equalPairs = 0;
    std::size_t convertedPairs = 0;
    for (int run = 0; run < 300; ++run) {
        Owner owner;
        std::vector<Node> nodes = {{Node::leaf, 0}, {Node::leaf, 1}};
        std::vector<Type*> types = {owner.make<NumericType>(), owner.make<CharType>(false)};
        const std::size_t structures = 2 + below(5);
        for (std::size_t i = 0; i < structures; ++i) {
            nodes.push_back({Node::structure});
            types.push_back(owner.make<StructType>(1 + i % 2, false));
        }
        for (std::size_t i = 0; i < 2 * structures; ++i) {
            const std::size_t base = below(structures + 2);
            const std::size_t size = 1 + below(2);
            nodes.push_back({i % 2 == 0 ? Node::matrix : Node::pointer, size, {base}});
            types.push_back(i % 2 == 0 ? static_cast<Type*>(owner.matrix(types[base], {size}))
                                       : owner.pointer(types[base]));
        }
        for (std::size_t i = 2; i < 2 + structures; ++i) {
            auto& structure = dynamic_cast<StructType&>(*types[i]);
            for (std::size_t place = 0; place < structure.getNumElements(); ++place) {
                // Leaves of one kind more often than the other, lest nothing is equal.
                nodes[i].parts.push_back(below(4) == 0 ? below(2) : 2 + below(nodes.size() - 2));
                structure.setMemberAt(types[nodes[i].parts.back()], kNames[place], place);
            }
        }
        const auto equal = greatest(nodes, [&](const auto& holds, std::size_t i, std::size_t j) {
            const Node& a = nodes[i];
            const Node& b = nodes[j];
            bool isEqual = a.kind == b.kind && a.parts.size() == b.parts.size() &&
                           (a.size == b.size || a.kind == Node::pointer) && a.kind != Node::leaf;
            for (std::size_t k = 0; isEqual && k < a.parts.size(); ++k) {
                isEqual = holds[a.parts[k]][b.parts[k]];
            }
            return isEqual;
        });
        const auto converted = greatest(nodes, [&](const auto& holds, std::size_t i, std::size_t j) {
            const Node& a = nodes[i];
            const Node& b = nodes[j];
            switch (a.kind) {
                case Node::leaf:
                    return false;
                case Node::structure:
                    for (std::size_t k = 0; k < a.parts.size() && a.parts.size() == b.parts.size(); ++k) {
                        if (!equal[a.parts[k]][b.parts[k]] &&
                            (nodes[a.parts[k]].kind != Node::matrix || !holds[a.parts[k]][b.parts[k]])) {
                            return false;
                        }
                    }
                    return b.kind == Node::structure && a.parts.size() == b.parts.size();
                case Node::matrix:
                    if (b.kind == Node::leaf) {
                        return a.size == 1 && static_cast<bool>(holds[a.parts[0]][j]);
                    }
                    return (b.kind == Node::pointer || (b.kind == Node::matrix && a.size == b.size)) &&
                           holds[a.parts[0]][b.parts[0]];
                default:
                    return (b.kind == Node::pointer || b.kind == Node::matrix) && holds[a.parts[0]][b.parts[0]];
            }
        });
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            for (std::size_t j = 0; j < nodes.size(); ++j) {
                ASSERT_EQ(*types[i] == *types[j], equal[i][j]) << run << ": " << i << " " << j;
                ASSERT_EQ(types[i]->canBeConvertedTo(types[j]), converted[i][j]) << run << ": " << i << " " << j;
                equalPairs += i != j && equal[i][j] ? 1U : 0U;
                convertedPairs += i != j && converted[i][j] && !equal[i][j] ? 1U : 0U;
            }
        }
    }
    EXPECT_GT(equalPairs, 1000U);
    EXPECT_GT(convertedPairs, 1000U);
}

/// A leaf that counts how often it is compared.
class CountedType : public CharType {
 public:
    CountedType() : CharType(false) {}
    bool operator==(const Type& other) const override {
        ++sComparisons;
        return CharType::operator==(other);
    }
    static inline std::size_t sComparisons = 0;
};

TEST(TypeTree, LooksAtNoPairOfPartsTwice) {
    constexpr std::size_t kLevels = 40;
    Owner owner;
    const auto nest = [&](std::vector<std::uint64_t> sizes) {
        Type* type = owner.structure({{"m", owner.matrix(owner.make<CountedType>(), std::move(sizes))}});
        for (std::size_t i = 0; i < kLevels; ++i) {
            // A walk that begins at either end meets a leaf to count.
            type = owner.structure({{"a", owner.make<CountedType>()},
                                    {"l", owner.matrix(type, {2})},
                                    {"r", owner.matrix(type, {2})},
                                    {"z", owner.make<CountedType>()}});
        }
        return type;
    };
    const auto comparisons = [](const Type* from, const Type* to) {
        CountedType::sComparisons = 0;
        EXPECT_TRUE(from->canBeConvertedTo(to));
        return CountedType::sComparisons;
    };
    const Type* const row = nest({6});
    EXPECT_LE(comparisons(row, nest({6})), 2 * kLevels + 1);
    EXPECT_LE(comparisons(row, nest({2, 3})), 2 * kLevels) << "no level equals its partner, for the bottoms differ";
    const auto wide = [&] {
        Type* const shared = owner.structure({{"c", owner.make<CountedType>()}});
        auto* const structure = owner.make<StructType>(kLevels, false);
        for (std::size_t i = 0; i < kLevels; ++i) {
            structure->setMemberAt(shared, std::to_string(i).c_str(), i);
        }
        return structure;
    };
    EXPECT_EQ(comparisons(wide(), wide()), 1U);
}

TEST(TypeTree, IsAsDeepAndAsSharedAsMemoryAllows) {
    // A chain grows at its end, where a pointer to a number becomes a pointer to a new one.
    constexpr int kLength = 200'000;
    Owner owner;
    auto* const n = owner.make<NumericType>();
    const auto chain = [&] {
        HandleReference first = HandleReference::to(owner.pointer(n)->getOMI());
        auto* last = static_cast<PointerType*>(first.get()->getObject());
        for (int i = 1; i < kLength; ++i) {
            auto* const next = new PointerType(n, true);
            last->setBaseType(next);
            OMInterface::operator delete(next->getOMI());
            last = next;
        }
        return first;
    };
    const HandleReference a = chain();
    const HandleReference b = chain();
    const auto& first = *static_cast<Type*>(a.get()->getObject());
    const auto& second = *static_cast<Type*>(b.get()->getObject());
    EXPECT_TRUE(first == second);
    EXPECT_TRUE(first.canBeConvertedTo(&second));
    EXPECT_EQ(sumOf(first), sumOf(second));

    const auto shared = [&] {
        Type* type = n;
        for (int i = 0; i < 100; ++i) {
            type = owner.structure({{"l", type}, {"m", owner.matrix(type, {2})}, {"r", type}});
        }
        return type;
    };
    EXPECT_TRUE(*shared() == *shared());
    EXPECT_TRUE(shared()->canBeConvertedTo(shared()));
}

}  // namespace
