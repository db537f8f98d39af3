// Views of an array and of its columns.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <numeric>
#include <span>
#include <sstream>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "fi/FiColumnReference.h"
#include "logging/filog.h"
#include "tests/support/arrays.h"
#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors.h"

namespace {

fi matrix(std::uint64_t rows, std::uint64_t columns, const NumericType& type = fixedType(true, 8, 2),
          bool isLocal = true) {
    std::vector<double> values(rows * columns);
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<double>(i + 1);
    }
    const Sizes sizes{rows, columns};
    return fi(values.data(), sizes.data(), 2, type, rulesOf(), "", isLocal, Operation::Assignment);
}

/// What is read by walking with the current index.
std::vector<double> walked(const fi& array) {
    std::vector<double> values;
    for (std::uint64_t i = 0; i < array.numel(); ++i) {
        array.setIndex(i);
        values.push_back(array.realdouble());
    }
    return values;
}

fi scalarOf(double re, double im) {
    return column({re}, {im}, fixedType(true, 16, 2));
}

/// The root that derived classes see.
class OpenReference : public FiReference {
 public:
    using FiReference::FiReference;
    using FiReference::getRoot;
    using FiReference::operator=;
};

TEST(FiReference, WritesIntoTheRootThroughItsQuantizer) {
    const LoggingOn logging;
    fi root = matrix(2, 2);
    root.resetLogging();
    OpenReference view(root);
    EXPECT_EQ(&view.getRoot(), &root);
    EXPECT_EQ(&view.getAssignmentQuantizer(), &root.getAssignmentQuantizer());
    EXPECT_EQ(&view.getQlogger(), &root.getQlogger());
    root.setIndex(3);
    view.setIndex(1);
    EXPECT_EQ(root.getIndex(), 3u);
    view = 100.0;
    EXPECT_EQ(root.realdouble(1), 31.75);
    EXPECT_EQ(countsOf(root), (Counts{1, 0, 1}));
    root.setIndex(3);
    view = scalar(-1000, fixedType(true, 16, 2));
    EXPECT_EQ(realParts(root), (std::vector<double>{1, -32, 3, 4}));
    EXPECT_EQ(countsOf(root), (Counts{2, 0, 2}));
    view.resetLogging();
    EXPECT_EQ(countsOf(root), Counts{});
}

TEST(FiReference, IsAsComplexAsItsRoot) {
    fi root = matrix(2, 2);
    FiReference view(root);
    FiColumnReference last(root, 1);
    EXPECT_TRUE(view.isreal() && !view.iscomplex());
    root.coordinateComplexity(true, 0);
    EXPECT_TRUE(view.iscomplex() && last.iscomplex() && !last.isreal());
    EXPECT_EQ(view.imagdouble(1), 0.0);

    // The other way round, by an assignment to the view.
    fi other = matrix(2, 2);
    FiColumnReference second(other, 1);
    second.setIndex(0);
    second = column({7}, {-6}, fixedType(true, 8, 2));
    EXPECT_TRUE(other.iscomplex());
    EXPECT_EQ(realParts(other), (std::vector<double>{1, 2, 7, 4}));
    EXPECT_EQ(imaginaryParts(other), (std::vector<double>{0, 0, -6, 0}));
    second.setIsReal(true);
    EXPECT_TRUE(other.isreal());

    fi scaled = scalar(1, slopeBiasType(true, 8, 1.5, 0, 1.0));
    FiReference ofScaled(scaled);
    EXPECT_EQ(raisedBy([&] { ofScaled.coordinateComplexity(true, 0); }).id, "fixedpoint:fi:nocomplexslopebias");
}

// The root's quantizer is taken as it stands; only the root itself follows the global rules.
TEST(FiReference, FollowsGlobalRulesOnlyWithItsRoot) {
    const GlobalRules global(rulesOf(Rounding::floor, false));
    fi root = matrix(1, 2, fixedType(true, 8, 0), false);
    FiReference view(root);
    fimath::setGlobalFimath(rulesOf(Rounding::ceil, false));
    view = 1.5;
    EXPECT_EQ(root.realdouble(0), 1.0);
    static_cast<void>(root.getAssignmentQuantizer());
    view = 1.5;
    EXPECT_EQ(root.realdouble(0), 2.0);
}

TEST(FiReference, CopiesAndAssignmentsTakeTheRoot) {
    fi a = matrix(1, 2);
    fi b = matrix(1, 2, fixedType(true, 16, 0));
    OpenReference first(a);
    OpenReference copy(first);
    EXPECT_EQ(&copy.getRoot(), &a);
    copy = 9.0;
    EXPECT_EQ(a.realdouble(0), 9.0);
    OpenReference second(b);
    second.setIndex(1);
    first.setIndex(0);
    static_cast<FiReference&>(first) = second;
    EXPECT_EQ(&first.getRoot(), &b);
    EXPECT_EQ(a.realdouble(0), 2.0);
    // All of the view is b's now: element, type, quantizer and complexity.
    EXPECT_EQ(&first.getAssignmentQuantizer(), &b.getAssignmentQuantizer());
    EXPECT_EQ(first.getIndex(), 1U);
    static_cast<fi&>(first) = column({-300}, {300}, fixedType(true, 16, 0));
    EXPECT_TRUE(a.isreal() && b.iscomplex());
    EXPECT_EQ(snapshotOf(first), snapshotOf(b));
    EXPECT_EQ(realParts(b), (std::vector<double>{1, -300}));
    EXPECT_EQ(imaginaryParts(b), (std::vector<double>{0, 300}));
    EXPECT_EQ(realParts(a), (std::vector<double>{2, 2}));
    EXPECT_FALSE((std::is_constructible_v<FiReference, const FiReference&>));
}

// The imaginary entries of a real array may be of another precision than those it gets when it turns complex, and then
// they are made anew, also of the other kind of body.
TEST(FiReference, SeesImaginaryPartsThatAreMadeLater) {
    const struct {
        unsigned precision;
        int laterWordBits;
        unsigned imagPrecision;
    } rows[] = {{0, 16, 0}, {100, 16, 0}, {0, 32, 0}, {0, 16, 40}, {0, 16, 100}};
    for (const auto& [precision, laterWordBits, imagPrecision] : rows) {
        for (const bool byView : {false, true}) {
            SCOPED_TRACE(std::to_string(precision) + ' ' + std::to_string(laterWordBits) +
                         (byView ? " by a view" : ""));
            fi root(0, fixedType(true, 16, 2), rulesOf(), precision, "", true, Operation::Assignment);
            root.resizeAndZero(2, 2, fixedType(true, laterWordBits, 2), rulesOf(), false);
            FiReference view(root);
            FiColumnReference second(root, 1);
            view.setIndex(3);
            second.setIndex(1);
            (byView ? view : root).coordinateComplexity(true, imagPrecision);
            EXPECT_EQ(second.imagdouble(), 0.0);
            second = scalarOf(1.5, -2.25);
            EXPECT_EQ(view.realdouble(), 1.5);
            EXPECT_EQ(view.imagdouble(), -2.25);
            view.setvalue(scalarOf(0.5, 4.0));
            EXPECT_EQ(imaginaryParts(root), (std::vector<double>{0, 0, 0, 4}));
            EXPECT_EQ(realParts(root), (std::vector<double>{0, 0, 0, 0.5}));
        }
    }
}

TEST(FiReference, LeavesTheElementsToTheRootWhoeverGoesFirst) {
    auto root = std::make_unique<fi>(matrix(2, 2, fixedType(true, 100, 2)));
    {
        FiColumnReference view(*root, 1);
        view.setIndex(1);
        view = 5.0;
    }
    EXPECT_EQ(realParts(*root), (std::vector<double>{1, 2, 3, 5}));
}

TEST(FiReference, WritesNoLogOfItsOwn) {
    const LoggingOn logging;
    filog::clearglobalfilogs();
    embedded::setFeatureFiTagLogging(true);
    {
        fi root = matrix(1, 2);
        root.setTag("root");
        const std::uint64_t seen = root.getNoperations();
        EXPECT_GT(seen, 0u);
        {
            FiReference view(root);
            FiReference copy(view);
            FiColumnReference column(root, 0);
        }
        EXPECT_TRUE(filog::getLogMap().empty());
        EXPECT_EQ(root.getNoperations(), seen);
        root.resetLogging();
    }
    embedded::setFeatureFiTagLogging(false);
    filog::clearglobalfilogs();
}

TEST(FiColumnReference, WalksOverItsStretch) {
    fi root = matrix(2, 3);
    for (std::uint64_t i = 0; i < 3; ++i) {
        const FiColumnReference view(root, i);
        EXPECT_EQ(sizesOf(view), (Sizes{2, 1}));
        EXPECT_EQ((Sizes{view.numel(), view.length(), view.getM(), view.getN()}), (Sizes{2, 2, 2, 1}));
        EXPECT_EQ(walked(view),
                  (std::vector<double>{2.0 * static_cast<double>(i) + 1, 2.0 * static_cast<double>(i) + 2}));
    }
    const FiColumnReference middle(root, 1, 4);
    EXPECT_EQ(sizesOf(middle), (Sizes{4, 1}));
    EXPECT_EQ(walked(middle), (std::vector<double>{2, 3, 4, 5}));
    EXPECT_EQ(middle.realdouble(0), 1.0);  // counted from the root
    EXPECT_EQ(FiColumnReference(root, 6, 0).numel(), 0u);
    // Operations that walk take the stretch too.
    const FiColumnReference last(root, 2);
    const std::unique_ptr<fi> turned(last.transpose());
    EXPECT_EQ(realParts(*turned), (std::vector<double>{5, 6}));
}

TEST(FiColumnReference, MovesAndIsAssigned) {
    fi root = matrix(2, 3);
    FiColumnReference view(root, 0);
    view.setColumn(2);
    EXPECT_EQ(walked(view), (std::vector<double>{5, 6}));
    FiColumnReference copy(view);
    EXPECT_EQ(sizesOf(copy), (Sizes{2, 1}));
    EXPECT_EQ(walked(copy), (std::vector<double>{5, 6}));
    FiColumnReference first(root, 0);
    first.setIndex(0);
    copy.setIndex(1);
    first = copy;  // the element, and then the place
    EXPECT_EQ(realParts(root), (std::vector<double>{6, 2, 3, 4, 5, 6}));
    EXPECT_EQ(walked(first), (std::vector<double>{5, 6}));
}

// Everything that an operation gives, as text.

template <class T>
void showPart(std::ostream& out, std::span<const T> part) {
    for (const T value : part) {
        out << ' ' << +value;
    }
    out << ';';
}

std::string shown(hvArray* made) {
    const hvArrayOwner owner(made);
    const hvArray* const array = made;
    std::ostringstream out;
    if (array == nullptr) {
        return "null";
    }
    out << std::hexfloat << hvGetClassName(array) << (hvIsComplex(array) ? " complex" : " real");
    for (const std::size_t size : hvGetDims(array)) {
        out << '-' << size;
    }
    if (hvIsChar(array)) {
        showPart(out << ' ', hvGetTypedData<hvChar>(array));
    }
    hvDispatchClass(hvGetClassID(array), [&]<class T>(std::type_identity<T>) {
        showPart(out, hvGetTypedData<T>(array));
        showPart(out, hvGetTypedImagData<T>(array));
    });
    return out.str();
}
std::string shown(const fi& array) {
    std::ostringstream out;
    out << snapshotOf(array);
    return out.str() + " as" + (array.isScaledDouble() || array.isFloat() ? "" : shown(array.num2base(16)));
}
std::string shown(fi* made) {
    const std::unique_ptr<fi> owner(made);
    return shown(*made);
}
std::string shown(fi& made) {
    return shown(&made);
}

struct Form {
    const char* name;
    std::string (*give)(const fi&);
};

/// What the form gives, prints, warns of and raises.
std::string outcomeOf(const Form& form, const fi& array) {
    const HostCapture host;
    std::string text;
    const Raised raised = raisedBy([&] { text = form.give(array); });
    text += " printed " + host.printed + " raised " + raised.id;
    for (const HostCapture::Warning& warning : host.warnings) {
        text += " warned " + warning.id;
    }
    return text;
}

const fi& other(const fi& x) {
    static std::unique_ptr<const fi> made;
    const NumericType& type = x.getNumericType();
    made = std::make_unique<const fi>(column({1, 3, 2}, type, x.getFimath()));
    return *made;
}
template <class... Places>
hvArrayOwner plan(Places... places) {
    return doubles(1, sizeof...(places), {static_cast<double>(places)...});
}

using Chunks = fi::IntArrayChunkMode;
using Place = fi::IntArrayDimensionMode;

const Form kForms[] = {
    {"copy", [](const fi& x) { return shown(new fi(x)); }},
    {"real parts", [](const fi& x) { return shown(new fi(x, fi::CopyReal::tag)); }},
    {"imaginary parts", [](const fi& x) { return shown(x.getImagFi()); }},
    {"copydata",
     [](const fi& x) {
         fi target = zeros({1, 1}, fixedType(true, 20, 3));
         target.copydata(x);
         return shown(std::as_const(target));
     }},
    {"squeeze", [](const fi& x) { return shown(x.squeeze()); }},
    {"reshape", [](const fi& x) { return shown(x.reshape(plan(1, 2).get())); }},
    {"transpose", [](const fi& x) { return shown(x.transpose()); }},
    {"ctranspose", [](const fi& x) { return shown(x.ctranspose()); }},
    {"diag", [](const fi& x) { return shown(x.diag(1.0)); }},
    {"tril", [](const fi& x) { return shown(x.tril()); }},
    {"triu", [](const fi& x) { return shown(x.triu()); }},
    {"hankel", [](const fi& x) { return shown(x.hankel()); }},
    {"hankel with a row", [](const fi& x) { return shown(other(x).hankel(x)); }},
    {"toeplitz", [](const fi& x) { return shown(x.toeplitz()); }},
    {"toeplitz with a row", [](const fi& x) { return shown(x.toeplitz(other(x))) + shown(other(x).toeplitz(x)); }},
    {"subscripts", [](const fi& x) { return shown(x.subscriptedReference(plan(0, 0, 1).get())); }},
    {"deletion", [](const fi& x) { return shown(x.subscriptedDelete(plan(0).get())); }},
    {"growth", [](const fi& x) { return shown(x.subscriptedGrowAssignment(plan(1, -1, 0, -3).get(), other(x))); }},
    {"growth by it", [](const fi& x) { return shown(other(x).subscriptedGrowAssignment(plan(3, -1, 0, 2).get(), x)); }},
    {"overwriting",
     [](const fi& x) {
         fi target(other(x));
         target.subscriptedOverwriteAssignment(plan(1, -1, -1).get(), x);
         return shown(std::as_const(target));
     }},
    {"cast", [](const fi& x) { return shown(x.reinterpretcast(fixedType(false, x.getWordLength(), 0))); }},
    {"power of two", [](const fi& x) { return shown(x.pow2(-1, true)); }},
    {"stored integers", [](const fi& x) { return shown(x.stripscaling()); }},
    {"negation", [](const fi& x) { return shown(x.uminus()); }},
    {"conjugate", [](const fi& x) { return shown(x.conj()); }},
    {"absolute values", [](const fi& x) { return shown(x.realabs()); }},
    {"root", [](const fi& x) { return shown(x.sqrtBisection()); }},
    {"root of a type", [](const fi& x) { return shown(x.sqrtBisection(fixedType(true, 12, 4))); }},
    {"column sums", [](const fi& x) { return shown(x.leadingdimension_sum()); }},
    {"sum", [](const fi& x) { return shown(x.plus(x)) + shown(x.plus(other(x))); }},
    {"difference", [](const fi& x) { return shown(x.minus(x)) + shown(other(x).minus(x)); }},
    {"product", [](const fi& x) { return shown(x.times(x)) + shown(other(x).times(x)); }},
    {"matrix product", [](const fi& x) { return shown(fi(matrix(2, 2)).mtimes(x)); }},
    {"outer product", [](const fi& x) { return shown(x.mtimes(*std::unique_ptr<fi>(other(x).transpose()))); }},
    {"quotient", [](const fi& x) { return shown(x.over(other(x), fixedType(true, 16, 4))); }},
    {"divisor", [](const fi& x) { return shown(other(x).over(x, fixedType(true, 16, 4))); }},
    {"convolutions",
     [](const fi& x) {
         return shown(other(x).convF(x)) + shown(x.convF(other(x))) + shown(x.convS(other(x))) + shown(x.convV(x));
     }},
    {"equality",
     [](const fi& x) {
         return shown(x.eq(other(x))) + shown(other(x).ne(x)) + shown(x.isequal(x)) + shown(x.isequal(fi(x)));
     }},
    {"order",
     [](const fi& x) {
         return shown(x.gt(other(x))) + shown(other(x).ge(x)) + shown(x.lt(other(x))) + shown(other(x).le(x));
     }},
    {"extremes", [](const fi& x) { return shown(x.max(other(x))) + shown(other(x).min(x)); }},
    {"extremes of columns",
     [](const fi& x) {
         fi* values = nullptr;
         hvArray* rows = nullptr;
         x.unary_max(values, rows);
         return shown(values) + shown(rows);
     }},
    {"sorting", [](const fi& x) { return shown(x.stridesort(true, 1, x.numel())); }},
    {"bits",
     [](const fi& x) {
         return shown(x.fibitand(other(x))) + shown(other(x).fibitor(x)) + shown(fi(x).bitxor(x)) + shown(x.bitcmp());
     }},
    {"single bits",
     [](const fi& x) {
         const fi first(scalar(1, x.getNumericType()));
         return shown(x.bitget(plan(1).get())) + shown(first.bitget(fi(x))) +
                shown(x.bitset(plan(1).get(), plan(1).get()));
     }},
    {"bits by position", [](const fi& x) { return shown(other(x).bitget(x)); }},
    {"signs", [](const fi& x) { return shown(x.sign()); }},
    {"complex from both parts", [](const fi& x) { return shown(x.complex(other(x))) + shown(other(x).complex(x)); }},
    {"finite", [](const fi& x) { return std::string(x.isFinite() ? "finite" : "infinite"); }},
    {"bad values", [](const fi& x) { return x.errorIfBadValue(TypeData::Fixed), std::string("none"); }},
    {"double", [](const fi& x) { return shown(x.getDoubleHvArray()); }},
    {"single", [](const fi& x) { return shown(x.getSingleHvArray()); }},
    {"logical", [](const fi& x) { return shown(x.getBooleanHvArray()); }},
    {"integers", [](const fi& x) { return shown(x.getIntHvArray()); }},
    {"chunks", [](const fi& x) { return shown(x.getIntArray(Chunks::Natural, Place::Leading)); }},
    {"four chunks", [](const fi& x) { return shown(x.getIntArray(Chunks::AlwaysFour, Place::First)); }},
    {"chunks apart", [](const fi& x) { return shown(x.getIntArrayHvArray(Chunks::Natural, Place::First)); }},
    {"four apart", [](const fi& x) { return shown(x.getIntArrayHvArray(Chunks::AlwaysFour, Place::Leading)); }},
    {"chunks of other words",
     [](const fi& x) {
         const std::size_t sizes[] = {x.numel() * static_cast<std::size_t>(x.numChunks()), 1};
         const auto words = [&](hvClassID id) { return hvCreateNumericArray(2, sizes, id, x.getComplexity()); };
         hvArrayOwner extended(words(hvUINT32_CLASS));
         x.addSignExtension32BitIntArray(extended.get());
         return shown(x.convert32BitIntArrayTo64BitIntArray(words(hvUINT32_CLASS), true)) + shown(extended.release()) +
                shown(x.convert64BitIntArrayTo32BitIntArray(words(hvUINT64_CLASS)));
     }},
    {"simulation words",
     [](const fi& x) {
         std::string all;
         for (const bool isCompact : {true, false}) {
             embedded::setFeatureFi33PlusMemoryFootprint(isCompact);
             all += shown(x.getDravelinIntArray()) + shown(x.getDravelinArray()) +
                    shown(x.getDravelinArray32MemoryFootPrint());
         }
         embedded::setFeatureFi33PlusMemoryFootprint(true);
         return all;
     }},
    {"simulation buffer",
     [](const fi& x) {
         std::vector<unsigned char> bytes(x.numel() * 64 + 1);
         x.createDVArray(bytes.data());
         return testing::PrintToString(bytes);
     }},
    {"digits", [](const fi& x) { return shown(x.num2base(2)) + shown(x.num2base(7)) + shown(x.num2base(16)); }},
    {"decimals", [](const fi& x) { return shown(x.num2sdec()); }},
    {"display", [](const fi& x) { return x.disp(), std::string(); }},
    {"display of the values", [](const fi& x) { return x.dispArray(), std::string(); }},
};

// What is made, read or shown of a column is as if the column had been an array of its own.
TEST(FiColumnReference, GivesItsOwnStretchInEveryForm) {
    const std::vector<double> re = {-1.5, 5, -3, 7.25, 2, 4};
    const std::vector<double> im = {1, 2, -3, 4, -5, 6};
    const NumericType types[] = {fixedType(true, 8, 2),
                                 fixedType(false, 12, 2),
                                 fixedType(true, 33, 2),
                                 fixedType(true, 60, 2),
                                 fixedType(true, 90, 2),
                                 fixedType(true, 130, 2),
                                 fixedType(true, 40, 1050),
                                 slopeBiasType(true, 16, 1.5, -2, 1),
                                 NumericType(TypeMode::ScaledDoubleBinaryPoint, true, 16, 1, -2, 0),
                                 plainType(TypeMode::Double),
                                 plainType(TypeMode::Single),
                                 plainType(TypeMode::Boolean)};
    for (const NumericType& type : types) {
        for (const bool isComplex : {false, true}) {
            if (isComplex && (type.isBoolean() || type.isSlopeBiasScaled())) {
                continue;
            }
            fi root = isComplex ? column(re, im, type) : column(re, type);
            if (type.isFloat()) {
                root.setIndex(0);
                root.setvalue(std::numeric_limits<double>::infinity());
            }
            for (const auto& [start, count] : {std::pair{0U, 2U}, {1U, 1U}, {1U, 2U}, {3U, 1U}, {3U, 3U}, {6U, 0U}}) {
                const FiColumnReference view(root, start, count);
                std::vector<double> places(count);
                std::iota(places.begin(), places.end(), start);
                const std::unique_ptr<fi> own(root.subscriptedReference(doubles(count, 1, places).get()));
                for (const Form& form : kForms) {
                    view.setIndex(0);
                    own->setIndex(0);
                    EXPECT_EQ(outcomeOf(form, view), outcomeOf(form, *own))
                        << form.name << " of " << count << " from " << start << " on, complex: " << isComplex << ", "
                        << fieldsOf(type);
                }
            }
            const FiColumnReference view(root, 4, 2);
            view.setIndex(1);
            EXPECT_EQ(fi(view).getIndex(), 0U);
            EXPECT_EQ(view.getIndex(), 5U);
            // Behind the last column there are no elements to show.
            const FiColumnReference behind(root, 1);
            const auto nothing = std::make_unique<const fi>(behind);
            EXPECT_EQ(sizesOf(*nothing), (Sizes{0, 1}));
            for (const Form& form : kForms) {
                if (const std::string name = form.name; name == "double" || name == "digits" || name == "display") {
                    EXPECT_EQ(outcomeOf(form, behind), outcomeOf(form, *nothing)) << name;
                }
            }
        }
    }
}

// What stores into all elements takes those of the column, and the root counts.
TEST(FiColumnReference, IsStoredIntoAsAWhole) {
    const std::pair<const char*, void (*)(fi&)> rows[] = {
        {"text",
         [](fi& x) {
             const hvArrayOwner words(x.num2base(2));
             x.base2num(words.get(), 2);
             hvGetTypedData<hvChar>(words.get())[0] ^= 1;
             x.base2num(words.get(), 2);
         }},
        {"buffer",
         [](fi& x) {
             std::vector<unsigned char> bytes(x.numel() * 64, 3);
             x.setFromDVArray(bytes.data(), true);
         }},
        {"chunks",
         [](fi& x) {
             const auto chunks = static_cast<std::size_t>(x.numChunks());
             std::vector<std::uint32_t> re(x.numel() * chunks);
             std::iota(re.begin(), re.end(), 1U);
             x.set32BitChunkIntArray(re.data(), re.data(), x.numChunks(), true);
         }},
        {"quantizing", [](fi& x) { x.quantizeAll(false); }},
    };
    const LoggingOn logging;
    for (const int wordBits : {8, 40, 60}) {
        for (const bool isComplex : {false, true}) {
            for (const auto& [name, store] : rows) {
                const NumericType type = fixedType(true, wordBits, 2);
                const std::vector<double> values = {1, 2, 3, 4, 5, 6};
                fi root = isComplex ? column(values, values, type) : column(values, type);
                for (const std::uint64_t place : {0U, 3U}) {
                    root.setIndex(place);
                    root.setvalue(std::ldexp(1.125, wordBits));  // neither rounded nor in range
                }
                root.resetLogging();
                fi wanted(root);
                FiColumnReference view(root, 2, 3);
                fi own(view);
                view.setIndex(1);
                store(view);
                store(own);
                EXPECT_EQ(view.getIndex(), std::string(name) == "text" ? 2U : 3U);
                own.setIndex(0);
                view.setIndex(0);
                wanted.subscriptedOverwriteAssignment(doubles(6, 1, {1, 2, -1, -2, -3, 6}).get(), own);
                EXPECT_EQ(shown(std::as_const(root)), shown(std::as_const(wanted)))
                    << name << ", " << wordBits << " bits, complex: " << isComplex;
                EXPECT_EQ(countsOf(root), countsOf(own)) << name;
            }
        }
    }
}

/// An array that shares elements and no more.
class SharedCopy : public fi {
 public:
    explicit SharedCopy(const fi& root) : fi(root, embedded::CopyIndex::tag) {
        fi::getAssignmentQuantizer().getQlogger().reset();
    }
};

/// Null for the root itself.
using View = std::unique_ptr<fi> (*)(fi& root);

/// Makes two views of a root, changes the root, then the left view by the right one, and compares with the same by a
/// copy of the right one: for elements at all pairs of places.
template <class MakeRoot>
void expectAsWithACopy(MakeRoot makeRoot, View makeLeft, View makeRight, void (*changeRoot)(fi&),
                       void (*change)(fi&, const fi&), bool isOfElements) {
    const fi first = makeRoot();
    for (std::uint64_t i = 0; i < (isOfElements ? 3 : 1); ++i) {
        for (std::uint64_t j = 0; j < (isOfElements ? 3 : 1); ++j) {
            std::vector<std::string> seen;
            for (const bool isDetached : {false, true}) {
                fi root(first);
                const auto leftView = makeLeft == nullptr ? nullptr : makeLeft(root);
                const auto rightView = makeRight == nullptr ? nullptr : makeRight(root);
                fi& left = leftView == nullptr ? root : *leftView;
                const fi& right = rightView == nullptr ? root : *rightView;
                changeRoot(root);
                const std::unique_ptr<fi> copy = std::make_unique<fi>(right);
                copy->resetLogging();
                const fi& operand = isDetached ? *copy : right;
                left.setIndex(i);
                operand.setIndex(j);
                change(left, operand);
                seen.push_back(shown(std::as_const(root)) + testing::PrintToString(countsOf(root)));
            }
            EXPECT_EQ(seen[0], seen[1]) << "places " << i << " and " << j;
        }
    }
}

// A view of an array may stand on either side of what is done in place: nothing reads what it has just written.
TEST(FiReference, MayShareElementsWithTheOtherOperand) {
    const std::pair<const char*, View> views[] = {
        {"reference", [](fi& root) -> std::unique_ptr<fi> { return std::make_unique<FiReference>(root); }},
        {"column", [](fi& root) -> std::unique_ptr<fi> { return std::make_unique<FiColumnReference>(root, 0, 3); }},
        {"later column",
         [](fi& root) -> std::unique_ptr<fi> { return std::make_unique<FiColumnReference>(root, 1, 3); }},
        {"shared copy", [](fi& root) -> std::unique_ptr<fi> { return std::make_unique<SharedCopy>(root); }},
        {"root", nullptr},
    };
    struct Row {
        const char* name;
        void (*change)(fi&, const fi&);
        bool isOfElements;
    };
    const Row rows[] = {
        {"=", [](fi& a, const fi& b) { a = b; }, true},
        {"setvalue", [](fi& a, const fi& b) { a.setvalue(b); }, true},
        {"+=", [](fi& a, const fi& b) { a += b; }, true},
        {"-=", [](fi& a, const fi& b) { a -= b; }, true},
        {"*=", [](fi& a, const fi& b) { a *= b; }, true},
        {"overwriting",
         [](fi& a, const fi& b) {
             std::vector<double> plan(a.numel());
             for (std::size_t i = 0; i < plan.size(); ++i) {
                 plan[i] = -1.0 - static_cast<double>((i + 2) % b.numel());
             }
             a.subscriptedOverwriteAssignment(doubles(plan.size(), 1, plan).get(), b);
         },
         false},
        {"copydata",
         [](fi& a, const fi& b) {
             // Views keep their size.
             if (a.numel() == b.numel() || typeid(a) == typeid(fi)) {
                 a.copydata(b);
             }
         },
         false},
    };
    // What becomes of the root when both views are there.
    const std::pair<const char*, void (*)(fi&)> changes[] = {
        {"as it was", [](fi&) {}},
        {"complex now",
         [](fi& root) {
             root.coordinateComplexity(true, 0);
             for (std::uint64_t i = 0; i < root.numel(); ++i) {
                 const_cast<number&>(root.imag(i)).setvalue(static_cast<double>(i) - 1.5);
             }
         }},
        {"of another type", [](fi& root) { root.isSlopeBiasScaled() ? root.setBias(3) : root.setFractionLength(1); }},
    };
    const LoggingOn logging;
    for (const NumericType& type : {fixedType(true, 12, 3), fixedType(true, 70, 3),
                                    slopeBiasType(true, 12, 1.25, -3, 1), plainType(TypeMode::Double)}) {
        for (const auto& [changeName, change] : changes) {
            for (const bool isComplex : {false, true}) {
                if (type.isSlopeBiasScaled() ? isComplex || std::string(changeName) == "complex now"
                                             : type.isFloat() && std::string(changeName) == "of another type") {
                    continue;
                }
                for (const bool casts : {false, true}) {
                    fimath rules = rulesOf();
                    rules.setCastBeforeSum(casts);
                    const auto makeRoot = [&, isComplex] {
                        const std::vector<double> re = {1.5, -2, 3.25, 4};
                        const std::vector<double> im = {2, 0.5, -1, 3};
                        fi root = isComplex ? column(re, im, type, rules, !type.isFloat())
                                            : column(re, type, rules, !type.isFloat());
                        root.resetLogging();
                        return root;
                    };
                    for (const auto& [leftName, left] : views) {
                        for (const auto& [rightName, right] : views) {
                            for (const Row& row : rows) {
                                if (left == nullptr && right == nullptr) {
                                    continue;  // one array has one current element
                                }
                                expectAsWithACopy(makeRoot, left, right, change, row.change, row.isOfElements);
                                if (HasFailure()) {
                                    FAIL()
                                        << leftName << ' ' << row.name << ' ' << rightName << ", root " << changeName
                                        << ", complex: " << isComplex << ", casts: " << casts << ", " << fieldsOf(type);
                                }
                            }
                        }
                    }
                }
            }
        }
    }
}

// A loop over columns may end at the column behind the last, and may not move there.
TEST(FiColumnReference, MayBeMadeButNotMovedBehindTheLastColumn) {
    fi root = matrix(2, 3);
    const Raised outside{"fixedpoint:fi:FiColumnReference:ColumnNumberOutOfRange",
                         "FiColumnReference::Column number out of range in FiColumnReference constructor"};
    const Raised notMoved{"fixedpoint:fi:FiColumnReference:setColumn", "Column number out of range."};
    const Raised tooLong{
        "fixedpoint:fi:FiColumnReference:IndexOutOfRange",
        "FiColumnReference::StartIndex + Length exceeds original matrix size in FiColumnReference constructor"};
    const auto make = [&](auto... place) {
        return raisedBy([&] { FiColumnReference(root, std::uint64_t{place}...); });
    };
    EXPECT_EQ(make(3u), Raised{});
    EXPECT_EQ(make(4u), outside);
    EXPECT_EQ(make(~std::uint64_t{0}), outside);
    EXPECT_EQ(make(0u, 6u), Raised{});
    EXPECT_EQ(make(6u, 0u), Raised{});
    EXPECT_EQ(make(1u, 6u), tooLong);
    EXPECT_EQ(make(7u, 0u), tooLong);
    EXPECT_EQ(make(2u, ~std::uint64_t{0}), tooLong);
    FiColumnReference view(root, 3);
    view.setColumn(1);
    EXPECT_EQ(raisedBy([&] { view.setColumn(3); }), notMoved);
    EXPECT_EQ(raisedBy([&] { view.setColumn(~std::uint64_t{0}); }), notMoved);
    EXPECT_EQ(walked(view), (std::vector<double>{3, 4}));
}

}  // namespace
