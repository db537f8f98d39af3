#include "tests/witness/arrays.h"

#include <algorithm>
#include <cmath>

#include "fi/FiColumnReference.h"

namespace {

std::span<Area<ArrayCase>> areas() {
    static Area<ArrayCase> all[] = {{"arithmetic", 30, arithmeticRows()},
                                    {"elements", 16, elementRows()},
                                    {"roots", 5, rootRows()},
                                    {"order", 7, orderRows()},
                                    {"shapes", 6, shapeRows()},
                                    {"bits", 6, bitRows()},
                                    {"integers", 8, integerRows()},
                                    {"texts", 3, textRows()},
                                    {"subscripts", 5, subscriptRows()},
                                    {"assignment", 10, assignmentRows()},
                                    {"types", 4, typeRows()},
                                    {"rules", 5, ruleRows()},
                                    {"logs", 8, logRows()},
                                    {"construction", 8, constructionRows()}};
    return all;
}

}  // namespace

ArrayCase::ArrayCase(Draw& source, Transcript& transcript) : draw(source), out(transcript), theme(source) {
    qlogger::setLogging(draw.percent(55));
    if (draw.oneIn(4)) {
        qlogger::setLogType(embedded::LogTypeEnum::WriteLogMap);
        embedded::setFeatureFiTagLogging(draw.percent(85));
    }
    embedded::setFeatureFi33PlusMemoryFootprint(draw.oneIn(2));
    embedded::setFeatureFiRealOnlySlopeBias(!draw.oneIn(8));
    embedded::setFeatureFimathLessFis(!draw.oneIn(10));
    if (draw.oneIn(8)) {
        number::setDefaultPrecision(64, false);
    }
    fimath::setGlobalFimath(draw.oneIn(2) ? theme.rules : theme.anyRules(draw));
    showSession(out);
    const int count = draw.between(2, 4);
    for (int i = 0; i < count; ++i) {
        out("array", i);
        attempt(out, [&] { add(makeArray(theme.sizes(draw))); });
    }
    if (pool.empty()) {
        add(std::make_unique<fi>());
    }
}

ArrayCase::~ArrayCase() {
    pool.clear();
}

void ArrayCase::add(std::unique_ptr<fi> made) {
    show(out, "made", *made);
    pool.push_back(std::move(made));
}

void ArrayCase::run() {
    const int steps = draw.between(3, 12);
    for (int i = 0; i < steps; ++i) {
        runStep(*this, areas());
    }
    for (const std::unique_ptr<fi>& array : pool) {
        show(out, "at the end", *array);
    }
    pool.clear();
    showSession(out);
}

std::unique_ptr<fi> ArrayCase::makeArray(const Sizes& sizes, const NumericType& type) {
    const bool isComplex = theme.isComplex(draw) && !type.isBoolean();
    const bool isLocal = theme.isLocal(draw);
    const fimath rules = theme.rulesOfArray(draw);
    const std::string tag = draw.tag();
    const std::uint64_t count = countOf(sizes);
    std::unique_ptr<fi> made;
    const bool hasWords = type.isFixed() && draw.percent(type.getWordLength() > 52 ? 75 : 20);
    const bool isRaw = !hasWords && draw.oneIn(12);
    const Theme::Spread spread = anySpread(draw);
    if (hasWords || isRaw) {
        made = std::make_unique<fi>(sizes.data(), sizes.size(), type, rules, isComplex, tag, isLocal, draw.operation(),
                                    draw.oneIn(20) ? 64U : 0U);
    } else {
        const std::vector<double> re = valuesFor(draw, type, spread, count);
        made = isComplex ? std::make_unique<fi>(re.data(), valuesFor(draw, type, anySpread(draw), count).data(),
                                                sizes.data(), sizes.size(), type, rules, tag, isLocal, draw.operation())
                         : std::make_unique<fi>(re.data(), sizes.data(), sizes.size(), type, rules, tag, isLocal,
                                                draw.operation());
    }
    if (hasWords) {
        const int chunks = made->numChunks();
        const auto words = [&] {
            std::vector<std::uint32_t> made(std::max<std::size_t>(count, 1) * static_cast<std::size_t>(chunks));
            const int kind = draw.between(0, 3);
            for (std::uint32_t& word : made) {
                word = kind == 0                       ? 0
                       : draw.oneIn(kind == 1 ? 2 : 6) ? (draw.oneIn(2) ? 0 : ~0U)
                                                       : static_cast<std::uint32_t>(draw.bits());
            }
            for (std::size_t top = static_cast<std::size_t>(chunks) - 1; top < made.size();
                 top += static_cast<std::size_t>(chunks)) {
                // One side of zero, and no bits above the word.
                const auto bits = static_cast<unsigned>((type.getWordLength() - 1) % 32);
                made[top] &= (kind == 2 ? 1U << bits : 2U << bits) - 1U;
            }
            return made;
        };
        const std::vector<std::uint32_t> re = words();
        made->set32BitChunkIntArray(re.data(), isComplex ? words().data() : nullptr, chunks, true);
    }
    const bool hasZeros = draw.oneIn(4);
    for (std::uint64_t i = 0; i < count && (isRaw || hasZeros); ++i) {
        if (isRaw || draw.oneIn(3)) {
            const double value = isRaw && !draw.oneIn(3) ? valueFor(draw, type, spread) : draw.of({0.0, -0.0});
            made->setIndex(i);
            made->setvalue(value);
            if (isComplex) {
                const_cast<number&>(made->imag()).setvalue(draw.of({value, 0.0, -0.0}));
            }
        }
    }
    made->setIndex(0);
    if (draw.oneIn(2)) {
        made->resetLogging();
    }
    if (draw.oneIn(8)) {
        made->getQlogger().setAlwaysLog(true);
    }
    return made;
}

std::unique_ptr<fi> ArrayCase::makeVector(std::uint64_t longest) {
    const std::uint64_t length = 1 + draw.below(longest);
    return makeArray(draw.oneIn(2) ? Sizes{length, 1} : Sizes{1, length});
}

bool ArrayCase::isPooled(const fi& array) const {
    return std::ranges::any_of(pool, [&](const auto& pooled) { return pooled.get() == &array; });
}

/// Finds the right operand, or makes one.
fi* ArrayCase::fitting(int wants) {
    const auto fits = [&](const fi& other) {
        return (wants & kInner) != 0 ? other.ndims() == 2 && (other.getM() == a->getN() || other.isscalar()) &&
                                           a->numel() * other.getN() < 8000
               : (wants & kVectors) != 0 ? other.isvector() && a->numel() * other.numel() < 8000
               : (wants & kSameType) != 0
                   ? other.getNumericType() == a->getNumericType() && (other.isSameSize(*a) || other.isscalar())
                   : other.isSameSize(*a) || other.isscalar() || a->isscalar();
    };
    if (draw.oneIn(40) && a->numel() < 300) {
        return &anyArray();
    }
    const std::size_t start = draw.below(pool.size());
    for (std::size_t i = 0; i < pool.size(); ++i) {
        fi& other = *pool[(start + i) % pool.size()];
        if (fits(other) && (&other != a || draw.oneIn(6)) && ((wants & kElement) == 0 || !other.isempty())) {
            return &other;
        }
    }
    if ((wants & kVectors) != 0) {
        lent.push_back(makeVector(theme.isTiny ? 4 : 12));
    } else {
        const Sizes sizes = (wants & kInner) != 0 ? Sizes{a->getN(), 1 + draw.below(theme.isTiny ? 3 : 6)}
                            : draw.oneIn(4)       ? Sizes{1, 1}
                                                  : Sizes(a->dims(), a->dims() + a->ndims());
        lent.push_back((wants & kSameType) != 0 ? makeArray(sizes, a->getNumericType()) : makeArray(sizes));
    }
    show(out, "lent", *lent.back());
    return lent.back().get();
}

void ArrayCase::prepare(int wants) {
    const std::size_t start = draw.below(pool.size());
    a = pool[start].get();
    for (std::size_t i = 1; i < pool.size(); ++i) {
        const bool isGood = ((wants & kElement) == 0 || !a->isempty()) && ((wants & kVectors) == 0 || a->isvector()) &&
                            ((wants & kInner) == 0 || (a->ndims() == 2 && a->numel() < 4000)) &&
                            ((wants & kFinite) == 0 || a->isFinite());
        if (isGood) {
            break;
        }
        a = pool[(start + i) % pool.size()].get();
    }
    // Only raw stores and float types have values that aren't finite, and `isFinite` examines only the latter.
    const auto isBad = [&](const fi& array) {
        if ((wants & kElement) != 0 && array.isempty()) {
            return true;
        }
        for (std::uint64_t i = 0; (wants & kFinite) != 0 && i < array.numel(); ++i) {
            if (!std::isfinite(array.realdouble(i)) || !std::isfinite(array.imagdouble(i))) {
                return true;
            }
        }
        return false;
    };
    if (isBad(*a)) {
        lent.push_back(
            makeArray({1, 1 + draw.below(3)}, NumericType(true, theme.wordLength(draw), draw.between(0, 20))));
        a = lent.back().get();
        show(out, "lent", *a);
    }
    if ((wants & kReal) != 0 && !a->isreal() && !draw.oneIn(6)) {
        lent.emplace_back(a->getRealFi());
        a = lent.back().get();
    }
    b = (wants & (kPair | kInner | kVectors | kSameType)) != 0 ? fitting(wants) : a;
    if (isBad(*b)) {
        b = a;
    }
    if ((wants & kPair) != 0 && b->isscalar() && draw.oneIn(3)) {
        std::swap(a, b);
    }
    if ((wants & kRestructures) == 0 && draw.oneIn(8) && !a->isempty() && !b->isempty()) {
        const auto viewOf = [&](fi* root) {
            attempt(out, [&] {
                if (draw.oneIn(3)) {
                    const std::uint64_t first = draw.oneIn(2) ? 0 : draw.below(root->numel());
                    lent.push_back(std::make_unique<FiColumnReference>(*root, first, root->numel() - first));
                    lent.back()->setIndex(0);
                } else {
                    lent.push_back(std::make_unique<FiReference>(*root));
                }
                root = lent.back().get();
            });
            return root;
        };
        const int which = draw.between(1, 3);
        fi* const left = a;
        a = (which & 1) != 0 ? viewOf(a) : a;
        b = draw.oneIn(3) && ((wants & (kInner | kVectors)) == 0 || left->numel() < 300) ? viewOf(left)
            : (which & 2) != 0                                                           ? viewOf(b)
                                                                                         : b;
    }
    if ((wants & kElement) != 0 || draw.oneIn(4)) {
        for (const fi* operand : {a, b}) {
            if (!operand->isempty() && !draw.oneIn(4)) {
                operand->setIndex(draw.below(operand->numel()));
            }
        }
    }
    if (out.isText()) {
        const auto placeOf = [&](const fi* array) {
            const auto found = std::ranges::find_if(pool, [&](const auto& pooled) { return pooled.get() == array; });
            return static_cast<int>(found - pool.begin());
        };
        const int left = placeOf(a);
        const int right = placeOf(b);
        const auto last = static_cast<int>(pool.size());
        out("  on", left == last ? "what is lent" : "array", left, right == last ? "what is lent" : "array", right,
            a == b ? "the same" : "");
        out("  cursors", a->getIndex(), b->getIndex());
    }
}

void ArrayCase::observe(const char* label, const fi& array) {
    show(out, label, array, !isPooled(array));
}

void ArrayCase::finish() {
    // Reading moves cursors, so operands are often not shown.
    if (draw.oneIn(2)) {
        observe("  left", *a);
        if (b != a) {
            observe("  right", *b);
        }
        showSession(out);
    } else {
        out("  cursors", a->getIndex(), b->getIndex(), number::getDefaultPrecision());
    }
    while (!lent.empty()) {
        lent.pop_back();
    }
    for (std::unique_ptr<fi>& made : fresh) {
        if (pool.size() < 6) {
            pool.push_back(std::move(made));
        } else {
            std::unique_ptr<fi>& old = pool[draw.below(pool.size())];
            old = std::move(made);
        }
    }
    fresh.clear();
}

void ArrayCase::keep(fi* result) {
    std::unique_ptr<fi> made(result);
    show(out, "  result", *made);
    if (draw.percent(40) && made->numel() < 6000) {
        fresh.push_back(std::move(made));
    }
}

void ArrayCase::keep(hvArray* result) {
    const hvArrayOwner owner(result);
    show(out, "  result", owner.get());
}

hvArrayOwner ArrayCase::plan(const Sizes& sizes, double low, double high) {
    hvArrayOwner made(hvCreateNumericArray(sizes.size(), sizes.data(), hvDOUBLE_CLASS));
    const bool goesBeyond = draw.oneIn(20);
    for (std::uint64_t i = 0; i < countOf(sizes); ++i) {
        hvGetPr(made.get())[i] =
            goesBeyond && draw.oneIn(4)
                ? draw.of({low - 1.0, high + 1.0, -1e300, 1e300})
                : low + static_cast<double>(draw.below(static_cast<std::uint64_t>(high - low) + 1));
    }
    return made;
}

const Kind kArrayPrograms = {"arrays", 60, [](Draw& draw, Transcript& out) { ArrayCase(draw, out).run(); },
                             [](SummaryLine line) { summarizeAreas(areas(), line); }};
