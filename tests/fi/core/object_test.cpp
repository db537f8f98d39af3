// Making arrays: the values every constructor gives, its deliberate differences from its neighbours, its errors.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>

#include "logging/filog.h"
#include "tests/support/arrays.h"
#include "tests/support/arrays_of_fi.h"
#include "tests/support/errors_of_fi.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(FiConstruction, MakesAnEmptyArrayOfTheDefaultType) {
    const GlobalRules global(rulesOf(Rounding::floor, true));
    const fi empty;
    EXPECT_EQ(sizesOf(empty), (Sizes{0, 0}));
    EXPECT_EQ(empty.numel() + empty.length() + empty.getM() + empty.getN(), 0u);
    EXPECT_TRUE(empty.isempty() && empty.isreal() && !empty.iscomplex());
    EXPECT_EQ(fieldsOf(empty.getNumericType()), fieldsOf(NumericType()));
    EXPECT_FALSE(empty.getFimathIsLocal());
    EXPECT_EQ(&empty.getFimath(), &fimath::getGlobalFimath());
    EXPECT_EQ(empty.getAssignmentQuantizer().getRoundMode(), embedded::RoundModeEnum::Floor);
    EXPECT_EQ(empty.getAssignmentQuantizer().getOverflowMode(), embedded::OverflowModeEnum::Wrap);
    EXPECT_EQ(empty.getQlogger().getOperationType(), Operation::Assignment);
    EXPECT_EQ(empty.getTag(), "");
}

void expectEntries(const fi& array, const std::vector<Rational>& re, const std::vector<Rational>& im,
                   const std::string& what) {
    ASSERT_EQ(array.numel(), re.size()) << what;
    ASSERT_EQ(array.iscomplex(), !im.empty()) << what;
    for (std::size_t i = 0; i < re.size(); ++i) {
        ASSERT_TRUE(exactValue(array.real(i)) == re[i])
            << what << ", element " << i << ": " << text(exactValue(array.real(i))) << ", not " << text(re[i]);
        if (!im.empty()) {
            ASSERT_TRUE(exactValue(array.imag(i)) == im[i])
                << what << ", imaginary element " << i << ": " << text(exactValue(array.imag(i))) << ", not "
                << text(im[i]);
        }
    }
}

NumericType randomType(Random& random) {
    switch (random.between(0, 9)) {
        case 0:
            return plainType(TypeMode::Double);
        case 1:
            return plainType(TypeMode::Single);
        case 2:
            return plainType(TypeMode::Boolean);
        case 3:
            return NumericType(TypeMode::ScaledDoubleSlopeBias, true, random.between(1, 200), 1.25, -3, 0.5);
        case 4:
            return NumericType(TypeMode::ScaledDoubleBinaryPoint, false, random.between(1, 200), 1.0, -3, 0.0);
        default:
            return randomFixedType(random, 200, true);
    }
}

// Every way to bring doubles in gives the values of the oracle, for all of the types.
TEST(FiConstruction, QuantizesDoublesAsExactRationalsSay) {
    Random random(5101);
    for (int round = 0; round < 1500; ++round) {
        const NumericType type = randomType(random);
        const Rounding rounding = random.pick(kRoundings);
        const bool wraps = random.oneIn(2);
        const bool isComplex = random.oneIn(2) && !type.isBoolean() && !type.isSlopeBiasScaled();
        const auto rows = static_cast<std::uint64_t>(random.between(1, 4));
        const Sizes sizes{rows, 3, 2};
        const auto count = rows * 6;
        std::vector<double> re(count);
        std::vector<double> im(isComplex ? count : 0);
        std::vector<Rational> wantedRe;
        std::vector<Rational> wantedIm;
        for (auto& x : re) {
            x = randomInput(random, type);
            wantedRe.push_back(quantized(Rational(storedSide(x, type)), type, rounding, wraps));
        }
        for (auto& x : im) {
            x = randomInput(random, type);
            wantedIm.push_back(quantized(Rational(x), type, rounding, wraps));
        }
        const std::string what = "seed 5101, round " + std::to_string(round) + ", " + type.qpointstr() + ", " +
                                 nameOf(rounding) + (wraps ? ", wrap" : ", saturate");
        // Without rules of its own the array takes the same ones from the session.
        const bool isLocal = random.oneIn(2);
        const fimath rules = rulesOf(rounding, wraps);
        const fimath given = isLocal ? rules : rulesOf(Rounding::fix, false);
        const GlobalRules global(isLocal ? rulesOf(Rounding::fix, false) : rules);

        const auto whole =
            isComplex ? fi(re.data(), im.data(), sizes.data(), 3, type, given, "", isLocal, Operation::Assignment)
                      : fi(re.data(), sizes.data(), 3, type, given, "", isLocal, Operation::Assignment);
        expectEntries(whole, wantedRe, wantedIm, what);
        EXPECT_EQ(sizesOf(whole), sizes);

        const auto filled = isComplex
                                ? fi(re[0], im[0], sizes.data(), 3, type, given, "", isLocal, Operation::Assignment)
                                : fi(re[0], sizes.data(), 3, type, given, "", isLocal, Operation::Assignment);
        expectEntries(filled, std::vector<Rational>(count, wantedRe[0]),
                      isComplex ? std::vector<Rational>(count, wantedIm[0]) : std::vector<Rational>(), what);

        expectEntries(fi(re[0], type, given, 0, "", isLocal, Operation::Assignment), {wantedRe[0]}, {}, what);

        // The form from the host quantizes by the rules it is given, local or not.
        const hvArrayOwner host = arrayOf({rows, 3, 2}, hvDOUBLE_CLASS, isComplex ? hvCOMPLEX : hvREAL);
        std::ranges::copy(re, hvGetTypedData<double>(host.get()).begin());
        std::ranges::copy(im, hvGetTypedImagData<double>(host.get()).begin());
        expectEntries(fi(host.get(), type, rules, "", isLocal, Operation::Assignment), wantedRe, wantedIm, what);
    }
}

TEST(FiConstruction, ReadsEveryNumericHostClass) {
    const NumericType type = fixedType(true, 70, 2);
    for (const hvClassID id :
         {hvDOUBLE_CLASS, hvSINGLE_CLASS, hvINT8_CLASS, hvUINT8_CLASS, hvINT16_CLASS, hvUINT16_CLASS, hvINT32_CLASS,
          hvUINT32_CLASS, hvINT64_CLASS, hvUINT64_CLASS, hvLOGICAL_CLASS}) {
        const bool isLogical = id == hvLOGICAL_CLASS;
        const hvArrayOwner host =
            isLogical ? hvArrayOwner(hvCreateLogicalMatrix(1, 2)) : arrayOf({1, 2}, id, hvCOMPLEX);
        hvDispatchClass(id, [&]<class T>(std::type_identity<T>) {
            hvGetTypedData<T>(host.get())[0] = T{1};
            hvGetTypedData<T>(host.get())[1] = isLogical ? T{0} : std::numeric_limits<T>::max();
            if (!isLogical) {
                hvGetTypedImagData<T>(host.get())[1] = T{7};
            }
            const fi array(host.get(), type, rulesOf(), "", true, Operation::Assignment);
            const double top = isLogical ? 0.0 : static_cast<double>(std::numeric_limits<T>::max());
            const Rational wanted = quantized(Rational(top), type, Rounding::nearest, false);
            EXPECT_TRUE(exactValue(array.real(1)) == wanted) << "class " << id;
            EXPECT_EQ(array.realdouble(0), 1.0);
            EXPECT_EQ(array.imagdouble(1), isLogical ? 0.0 : 7.0);
            EXPECT_EQ(array.iscomplex(), !isLogical);
        });
    }
}

TEST(FiConstruction, SettlesUnspecifiedScalingByTheHostData) {
    const NumericType type(TypeMode::FixedUnspecified, true, 8, 1.0, 0, 0.0);
    const hvArrayOwner values = doubles(1, 3, {0.25, -5.5, 3.0});
    const fi array(values.get(), type, rulesOf(), "", true, Operation::Assignment);
    EXPECT_EQ(fieldsOf(array.getNumericType()), fieldsOf(fixedType(true, 8, 4)));
    EXPECT_EQ(realParts(array), (std::vector<double>{0.25, -5.5, 3.0}));
    EXPECT_EQ(raisedBy([&] { fi(values.get(), type, true, 0, "", Operation::Assignment); }).id,
              "fixedpoint:quantizer:unspecifiedscaling");
}

// The forms differ on purpose in what zero means, in which rules quantize, and in what they keep.

TEST(FiConstruction, FillsTheMatrixFormAloneWithRealWorldZero) {
    const NumericType type = slopeBiasType(true, 16, 1.5, -4, 10.0);
    const Sizes sizes{2, 2};
    const fi matrix(2, 2, type, rulesOf(), false, "", true, Operation::Assignment, 0);
    const fi zeros(sizes.data(), 2, type, rulesOf(), false, "", true, Operation::Assignment, 0);
    const double stored = quantized(Rational(1.0 / 1.5 * -10.0), type, Rounding::nearest, false).get_d();
    EXPECT_EQ(realParts(matrix), std::vector<double>(4, stored));
    EXPECT_EQ(realParts(zeros), std::vector<double>(4, 0.0));
    EXPECT_EQ(zeros.addSlopeAdjustmentFactorBias(zeros.realdouble(0)), 10.0);
    const fi copied(sizes.data(), 2, type, rulesOf(), false, matrix.getAssignmentQuantizer(), true);
    EXPECT_EQ(realParts(copied), std::vector<double>(4, 0.0));

    const LoggingOn logging;
    EXPECT_EQ(fi(2, 2, type, rulesOf(), false, "", true, Operation::Assignment, 0).getNoperations(), 4u);
    EXPECT_EQ(fi(2, 2, NumericType(), rulesOf(), true, "", true, Operation::Assignment, 0).getNoperations(), 0u);
    const ComplexSlopeBias allowed;
    const fi complexZeros(1, 2, type, rulesOf(), true, "", true, Operation::Assignment, 0);
    EXPECT_EQ(imaginaryParts(complexZeros), std::vector<double>(2, stored));
}

TEST(FiConstruction, QuantizesHostDataByTheRulesThatTheFormNames) {
    const NumericType type = fixedType(true, 8, 0);
    const GlobalRules global(rulesOf(Rounding::ceil, true));
    const hvArrayOwner values = doubles(1, 3, {1.25, 1.5, 130.0});
    struct {
        const char* why;
        fi array;
        std::vector<double> wanted;
        embedded::RoundModeEnum later;
    } const cases[] = {
        {"given rules, kept",
         fi(values.get(), type, rulesOf(Rounding::floor, false), "", true, Operation::Assignment),
         {1, 1, 127},
         embedded::RoundModeEnum::Floor},
        {"given rules for these values, global ones later",
         fi(values.get(), type, rulesOf(Rounding::floor, false), "", false, Operation::Assignment),
         {1, 1, 127},
         embedded::RoundModeEnum::Ceil},
        {"global rules from the start",
         fi(values.get(), type, true, 0, "", Operation::Assignment),
         {2, 2, -126},
         embedded::RoundModeEnum::Ceil},
        {"nearest and saturate, global rules later",
         fi(values.get(), type, false, 0, "", Operation::Assignment),
         {1, 2, 127},
         embedded::RoundModeEnum::Ceil},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(realParts(row.array), row.wanted) << row.why;
        EXPECT_EQ(row.array.getAssignmentQuantizer().getRoundMode(), row.later) << row.why;
    }
    // Marked local, the third has no rules of its own and reads the global ones.
    EXPECT_TRUE(cases[2].array.getFimathIsLocal());
    EXPECT_EQ(&cases[2].array.getFimath(), &fimath::getGlobalFimath());
    // A copy of it has its own.
    EXPECT_NE(&fi(cases[2].array).getFimath(), &fimath::getGlobalFimath());
}

TEST(FiConstruction, MarksTheDataPropertyAndIgnoresThePrecisionOfTheFormWithoutRules) {
    const hvArrayOwner values = doubles(1, 1, {0.5});
    const fi array(values.get(), NumericType(), false, 100, "", Operation::Assignment);
    EXPECT_EQ(array.getLastPropertySet(), fi::PropertyEnum::Data);
    EXPECT_EQ(array.real().gettype(), embedded::numbertype::doublenumber);
    const fi wide(0.5, NumericType(), rulesOf(), 100, "", true, Operation::Assignment);
    EXPECT_EQ(wide.real().gettype(), embedded::numbertype::mpnumber);
    EXPECT_EQ(wide.real().getprecision(), 100u);
}

TEST(FiConstruction, ReportsHostAssignmentsWhileLoggingIsOn) {
    const hvArrayOwner values = doubles(1, 3, {2.0, -3.0, 1e-9});
    const LoggingOn logging;
    fi::resetGlobalLog();
    const HostCapture host;
    const fi array(values.get(), NumericType(), false, 0, "", Operation::Assignment);
    EXPECT_EQ(host.warnings, (std::vector<HostCapture::Warning>{
                                 {"fi:overflow", "2 overflows occurred in the fi assignment operation."},
                                 {"fi:underflow",
                                  "1 underflow occurred in the fi assignment "
                                  "operation."}}));
    EXPECT_EQ(countsOf(array), (Counts{2, 1, 3}));
    EXPECT_EQ(fi::getAssignlog().getMax().todouble(), array.realdouble(0));
    EXPECT_EQ(fi::getAssignlog().getMin().todouble(), -1.0);
    // The changes are taken once for the report and the session, which has nothing of its own to report.
    EXPECT_EQ(fi::getAssignlog().getNoverflows(), 2u);
    EXPECT_EQ(fi::getAssignlog().getNunderflows(), 1u);
    EXPECT_EQ(fi::getAssignlog().getOldOverflows(), 2u);
    EXPECT_EQ(fi::getAssignlog().getOldUnderflows(), 1u);
    EXPECT_EQ(array.getQlogger().getOldOverflows(), 2u);
    const fi quiet(values.get(), NumericType(), rulesOf(), "", false, Operation::Assignment);
    EXPECT_EQ(host.warnings.size(), 2u);
    fi::resetGlobalLog();
}

TEST(FiConstruction, RefusesWhatItCannotHold) {
    const NumericType slopeBias = slopeBiasType(true, 16, 1.5, -4, 1.0);
    const NumericType boolean = plainType(TypeMode::Boolean);
    const fimath rules = rulesOf();
    const double one[] = {1.0};
    const double badNaN[] = {kNaN};
    const double badInf[] = {-kInf};
    const Sizes single{1, 1};
    const Sizes huge{std::uint64_t{1} << 40, std::uint64_t{1} << 40};
    const Sizes hugeEmpty{0, std::uint64_t{1} << 40, std::uint64_t{1} << 40};
    const Sizes large{std::uint64_t{1} << 61, 1};
    const hvArrayOwner letters = text("abc");
    const hvArrayOwner nan = doubles(1, 2, {1.0, kNaN});
    const hvArrayOwner complexOne = arrayOf({1, 1}, hvINT8_CLASS, hvCOMPLEX);
    const auto make = [&](const double* re, const double* im, const Sizes& sizes, const NumericType& type) {
        return im ? fi(re, im, sizes.data(), sizes.size(), type, rules, "", true, Operation::Assignment)
                  : fi(re, sizes.data(), sizes.size(), type, rules, "", true, Operation::Assignment);
    };
    const auto fromHost = [&](const hvArrayOwner& values, const NumericType& type) {
        return fi(values.get(), type, rules, "", true, Operation::Assignment);
    };
    EXPECT_EQ(raisedBy([&] { make(one, one, single, slopeBias); }), kNoComplexSlopeBias);
    EXPECT_EQ(raisedBy([&] { fi(1, 1, slopeBias, rules, true, "", true, Operation::Sum, 0); }), kNoComplexSlopeBias);
    EXPECT_EQ(raisedBy([&] { fromHost(complexOne, slopeBias); }), kNoComplexSlopeBias);
    EXPECT_EQ(raisedBy([&] { fromHost(letters, NumericType()); }),
              (Raised{"fixedpoint:fi:constructor:numeric", "FI constructor only valid for numeric data"}));
    EXPECT_EQ(raisedBy([&] { fromHost(hvArrayOwner(), NumericType()); }).id, "fixedpoint:fi:constructor:numeric");
    EXPECT_EQ(raisedBy([&] { make(one, one, single, boolean); }).id, "fixedpoint:nologicalcomplex");
    EXPECT_EQ(raisedBy([&] { fromHost(complexOne, boolean); }).id, "fixedpoint:nologicalcomplex");
    EXPECT_EQ(raisedBy([&] { make(badNaN, nullptr, single, NumericType()); }).id, "fixedpoint:nofixednan");
    EXPECT_EQ(raisedBy([&] { make(one, badInf, single, NumericType()); }).id, "fixedpoint:nofixedinf");
    EXPECT_EQ(raisedBy([&] { fromHost(nan, NumericType()); }).id, "fixedpoint:nofixednan");
    EXPECT_EQ(raisedBy([&] { scalar(kNaN, boolean); }).id, "fixedpoint:nologicalnan");
    EXPECT_EQ(raisedBy([&] { scalar(kInf, plainType(TypeMode::ScaledDoubleBinaryPoint)); }).id,
              "fixedpoint:nofixedinf");
    for (const Sizes& sizes : {huge, hugeEmpty, large}) {
        EXPECT_EQ(raisedBy([&] {
                      fi(1.0, sizes.data(), sizes.size(), NumericType(), rules, "", true, Operation::Assignment);
                  }).id,
                  "fixedpoint:fi:outofmemory");
    }
    EXPECT_EQ(raisedBy([&] { scalar(1.0, fixedType(true, 65536, 0)); }).id, "fixedpoint:quantizer:wordlengthtoobig");
    EXPECT_EQ(raisedBy([&] { scalar(1.0, fixedType(true, 0, 0)); }).id, "fixedpoint:quantizer:wordlengthtoosmall");

    // Floating types take them all.
    EXPECT_TRUE(std::isnan(scalar(kNaN, plainType(TypeMode::Single)).realdouble()));
    EXPECT_EQ(scalar(-kInf, plainType(TypeMode::Double)).realdouble(), -kInf);
    EXPECT_EQ(fi(std::uint64_t{0}, 0, NumericType(), rules, true, "", true, Operation::Assignment, 0).numel(), 0u);
}

TEST(FiConstruction, TakesTagAndOperationAndSetsTheDefaultPrecisionForBuffersOnly) {
    const fi one(0.5, true, 60, 40, rulesOf(), 0, "gain", true, Operation::Product);
    EXPECT_EQ(one.getTag(), "gain");
    EXPECT_EQ(one.getQlogger().getOperationType(), Operation::Product);
    EXPECT_EQ(number::getDefaultPrecision(), 52u);
    column({0.5}, fixedType(true, 60, 40));
    EXPECT_EQ(number::getDefaultPrecision(), 60u);
    EXPECT_NE(raisedBy([] { column({kNaN}, fixedType(true, 70, 40)); }), Raised{});
    EXPECT_EQ(number::getDefaultPrecision(), 60u);
}

TEST(FiConstruction, LooksAtLongBuffersBlockByBlock) {
    const LoggingOn logging;
    filog::clearglobalfilogs();
    embedded::setFeatureFiTagLogging(true);
    qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
    const NumericType byte = fixedType(true, 8, 4);
    std::vector<double> values(10001, 100.0);
    values.front() = -0.0;
    values.back() = 0.01;
    const Sizes sizes{values.size(), 1};
    const auto make = [&](const NumericType& type) {
        return std::make_unique<fi>(values.data(), sizes.data(), 2, type, rulesOf(), "long", true,
                                    Operation::Assignment);
    };
    {
        const auto made = make(byte);
        EXPECT_EQ(countsOf(*made), (Counts{9999, 1, 10001}));
        EXPECT_TRUE(std::signbit(made->getQlogger().getMin().todouble()));
        made->resetLogging();
    }
    filog::clearglobalfilogs();
    values[9000] = kNaN;
    EXPECT_EQ(raisedBy([&] { make(byte); }).id, "fixedpoint:nofixednan");
    for (const auto& [key, log] : filog::getLogMap()) {
        EXPECT_EQ(log.getNumberOfOverflows(), 0u) << key;
    }
    EXPECT_TRUE(std::isnan(make(plainType(TypeMode::Double))->realdouble(9000)));
    qlogger::setLogType({});
    embedded::setFeatureFiTagLogging(false);
    filog::clearglobalfilogs();
}

// Copies.

TEST(FiCopy, TakesEntriesRulesAndLogAndNothingElse) {
    const LoggingOn logging;
    fi source = column({0.5, 3.0}, {0.25, -0.5}, NumericType(), rulesOf(Rounding::floor, true));
    source.setTag("t");
    source.setIsAutoScaled(true);
    fi copy(source);
    EXPECT_EQ(snapshotOf(copy), snapshotOf(source));
    EXPECT_EQ(countsOf(copy), countsOf(source));
    EXPECT_EQ(copy.getTag(), "t");
    EXPECT_FALSE(copy.getIsAutoScaled());
    EXPECT_NE(&copy.getFimath(), &source.getFimath());
    EXPECT_EQ(copy.getRoundMode(), embedded::RoundModeEnum::Floor);
    copy.setIndex(0);
    copy = 0.125;
    EXPECT_EQ(source.realdouble(0), 0.5);
}

TEST(FiCopy, CopiesTheSumRegisterClearedOnBothSides) {
    const fi source = column({0.5, 0.25}, NumericType());
    EXPECT_FALSE(fi(source).isSumRegisterInitialized());
    fi& sum = source + source;
    EXPECT_EQ(sum.realdouble(), 1.0);
    const fi copy(source);
    ASSERT_TRUE(copy.isSumRegisterInitialized());
    EXPECT_EQ(sum.realdouble(), 0.0);
    EXPECT_NE(&copy.getsumQlogger(), &source.getsumQlogger());
}

TEST(FiCopy, TakesOneElementOrOnePart) {
    for (const int wordBits : {16, 80}) {
        const fi source = column({0.5, 0.25, -1.0}, {0.125, -0.5, 0.75}, fixedType(true, wordBits, 14));
        source.setIndex(1);
        const fi element(source, embedded::CopyElement::tag);
        EXPECT_EQ(realParts(element), std::vector<double>{0.25});
        EXPECT_EQ(imaginaryParts(element), std::vector<double>{-0.5});
        EXPECT_EQ(sizesOf(element), (Sizes{1, 1}));
        const fi real(source, fi::CopyReal::tag);
        EXPECT_EQ(realParts(real), (std::vector<double>{0.5, 0.25, -1.0}));
        EXPECT_TRUE(real.isreal());
        const fi imaginary(source, fi::CopyImag::tag);
        EXPECT_EQ(realParts(imaginary), (std::vector<double>{0.125, -0.5, 0.75}));
        EXPECT_TRUE(imaginary.isreal());
        EXPECT_EQ(realParts(fi(real, fi::CopyImag::tag)), std::vector<double>(3, 0.0));
    }
    EXPECT_EQ(fi(fi(), embedded::CopyElement::tag).numel(), 1u);
}

/// The log goes with a part as with the whole; what the copy then sees is its own.
TEST(FiCopy, TakesTheLogWithEveryPart) {
    const LoggingOn logging;
    const fi source = column({0.5, -9.0}, {0.25, 9.0}, fixedType(true, 8, 4));
    const Counts seen = countsOf(source);
    ASSERT_EQ(seen, (Counts{2, 0, 4}));
    fi copies[] = {fi(source), fi(source, embedded::CopyElement::tag), fi(source, fi::CopyReal::tag),
                   fi(source, fi::CopyImag::tag)};
    for (fi& copy : copies) {
        EXPECT_EQ(countsOf(copy), seen);
        EXPECT_EQ(copy.getMaxLogAsRealWorldValue(), 7.9375);
        EXPECT_EQ(copy.getMinLogAsRealWorldValue(), -8.0);
        copy = 100.0;
        EXPECT_EQ(countsOf(copy), (Counts{3, 0, 5}));
    }
    EXPECT_EQ(countsOf(source), seen);
    // A zero that is made and quantized on the way counts in the copy.
    const fi biased = column({1.0, 2.0}, slopeBiasType(true, 8, 1.25, -1, 3.0));
    EXPECT_EQ(countsOf(fi(biased, fi::CopyImag::tag)).operations, countsOf(biased).operations + 1);
    EXPECT_EQ(countsOf(biased).operations, 2u);
}

TEST(FiCopy, GivesRealWorldZeroForTheImaginaryPartOfARealSlopeBiasArray) {
    const NumericType type = slopeBiasType(true, 8, 1.25, -1, 3.0);
    const GlobalRules global(rulesOf(Rounding::ceil, false));
    const fi source = column({1.0, 2.0}, type, rulesOf(), false);
    const Rational stored(1.0 / 1.25 * -3.0);
    for (const Rounding rounding : {Rounding::ceil, Rounding::floor}) {
        fimath::setGlobalFimath(rulesOf(rounding, false));
        const fi imaginary(source, fi::CopyImag::tag);
        EXPECT_EQ(realParts(imaginary), std::vector<double>(2, quantized(stored, type, rounding, false).get_d()));
    }
}

// A view on the elements, as derived classes have them.
class View : public fi {
 public:
    explicit View(const fi& root) : fi(root, embedded::CopyIndex::tag) {}
};

TEST(FiCopy, SharesElementsWithViewsThatMayGoFirstOrLast) {
    for (const bool viewGoesFirst : {true, false}) {
        auto root = std::make_unique<fi>(column({0.5, 0.25}, NumericType()));
        auto view = std::make_unique<View>(*root);
        root->setIndex(1);
        *root = 0.75;
        EXPECT_EQ(view->realdouble(1), 0.75);
        view->setIndex(0);
        EXPECT_EQ(root->getIndex(), 1u);
        if (viewGoesFirst) {
            view.reset();
            EXPECT_EQ(root->realdouble(1), 0.75);
        } else {
            root.reset();
            EXPECT_EQ(view->realdouble(1), 0.75);
        }
    }
}

}  // namespace
