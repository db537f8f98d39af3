// Views of an array and of its columns.
#include <gtest/gtest.h>

#include <memory>
#include <type_traits>
#include <utility>

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

// What is made from a column is as if the column had been an array of its own.
TEST(FiColumnReference, GivesItsOwnStretchToWhatIsMadeFromIt) {
    const std::pair<const char*, fi* (*)(const fi&)> rows[] = {
        {"copy", [](const fi& x) { return new fi(x); }},
        {"real parts", [](const fi& x) { return new fi(x, fi::CopyReal::tag); }},
        {"imaginary parts", [](const fi& x) { return new fi(x, fi::CopyImag::tag); }},
        {"squeeze", [](const fi& x) { return x.squeeze(); }},
        {"reshape",
         [](const fi& x) {
             return x.reshape(doubles(1, 2, {1, 2}).get());
         }},
        {"ctranspose", [](const fi& x) { return x.ctranspose(); }},
        {"diag", [](const fi& x) { return x.diag(1.0); }},
        {"hankel", [](const fi& x) { return x.hankel(); }},
        {"toeplitz", [](const fi& x) { return x.toeplitz(); }},
        {"subscripts",
         [](const fi& x) {
             return x.subscriptedReference(doubles(1, 3, {1, 0, 1}).get());
         }},
        {"bits", [](const fi& x) { return &fi(x).fibitand(x); }},
        {"cast", [](const fi& x) { return &x.reinterpretcast(fixedType(false, x.getWordLength(), 0)); }},
        {"absolute values", [](const fi& x) { return x.isreal() ? x.realabs() : x.conj(); }},
        {"product", [](const fi& x) { return &x.times(x); }},
        {"matrix product", [](const fi& x) { return &fi(matrix(2, 2)).mtimes(x); }},
        {"convolution",
         [](const fi& x) {
             return &column({1, 2, 3}, fixedType(true, 8, 0)).convF(x);
         }},
    };
    const std::vector<double> re = {5, -3, 7.25, 2, -1.5, 4};
    const std::vector<double> im = {1, 2, -3, 4, -5, 6};
    for (const int wordBits : {12, 60}) {
        for (const bool isComplex : {false, true}) {
            const NumericType type = fixedType(true, wordBits, 2);
            fi root = isComplex ? column(re, im, type) : column(re, type);
            for (std::uint64_t start = 0; start < 5; ++start) {
                const FiColumnReference view(root, start, 2);
                const auto place = static_cast<double>(start);
                const std::unique_ptr<fi> own(root.subscriptedReference(doubles(2, 1, {place, place + 1}).get()));
                for (const auto& [name, make] : rows) {
                    HostCapture host;
                    EXPECT_EQ(snapshotOf(*std::unique_ptr<fi>(make(view))),
                              snapshotOf(*std::unique_ptr<fi>(make(*own))))
                        << name << " from " << start << " on, complex: " << isComplex << ", " << wordBits << " bits";
                }
                view.setIndex(1);
                EXPECT_EQ(fi(view).getIndex(), 0U);
                EXPECT_EQ(view.getIndex(), start + 1);
            }
            EXPECT_EQ(sizesOf(fi(FiColumnReference(root, 1))), (Sizes{0, 1}));  // behind the last column
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
