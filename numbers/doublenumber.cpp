#include "numbers/doublenumber.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <new>
#include <utility>

#include "numbers/errors.h"
#include "numbers/services.h"
#include "numbers/stridesort.h"
#include "numbers/truncation.h"

using namespace tolvane::detail;

namespace {

bool isLess(double a, double b) {
    return a < b;
}
bool isEqual(double a, double b) {
    return a == b;
}

constexpr std::uint64_t kLineBytes = 64;

void* allocateBytes(std::uint64_t bytes, embeddedNumberTags::NumberVector) {
    return services().allocateZeros(bytes);
}
void* allocateBytes(std::uint64_t bytes, embeddedNumberTags::UnsetVector) {
    return services().allocate(bytes);
}

/// Returns memory for bsFree that holds this many doubles, starting at a cache line. Raises
/// "fixedpoint:fi:outofmemory".
template <class Tag>
void* allocate(std::uint64_t count, Tag tag) {
    constexpr std::uint64_t kMostDoubles = (PTRDIFF_MAX - kLineBytes) / sizeof(double);
    void* memory = count <= kMostDoubles ? allocateBytes(count * sizeof(double) + kLineBytes, tag) : nullptr;
    if (!memory) {
        raiseOutOfMemory();
    }
    return memory;
}

double* startOfLine(void* memory) {
    const auto misplaced = reinterpret_cast<std::uintptr_t>(memory) % kLineBytes;
    return reinterpret_cast<double*>(static_cast<std::byte*>(memory) + (misplaced == 0 ? 0 : kLineBytes - misplaced));
}

}  // namespace

template <class Tag>
doublenumber::State::State(std::uint64_t count, std::uint32_t precision, Tag tag) : SharedState(count, precision) {
    if (count == 1) {
        elements = &single;
    } else if (count > 1) {
        block = allocate(count, tag);
        elements = startOfLine(block);
    }
}

void doublenumber::State::freeBlock() {
    if (elementCount > 1) {
        services().release(block);
    }
}

doublenumber::State::~State() {
    freeBlock();
}

void doublenumber::State::resize(std::uint64_t count) {
    if (count > 1) {
        void* const freshBlock = allocate(count, NumberVector::tag);
        double* const fresh = startOfLine(freshBlock);
        std::copy_n(elements, std::min(count, elementCount), fresh);
        freeBlock();
        block = freshBlock;
        elements = fresh;
    } else {
        const double first = elementCount > 0 ? elements[0] : 0.0;
        freeBlock();
        single = first;
        elements = count == 1 ? &single : nullptr;
    }
    elementCount = count;
}

template <class Tag>
doublenumber::State* doublenumber::makeState(std::uint64_t count, std::uint32_t precision, Tag tag) {
    State* state = new (std::nothrow) State(count, precision, tag);
    if (!state) {
        raiseOutOfMemory();
    }
    return state;
}

doublenumber::doublenumber(double value)
    : numberrepbody(numbertype::doublenumber, makeState(1, kScalarPrecision, NumberVector::tag)) {
    setelement(value);
}

doublenumber::doublenumber(std::uint64_t count, std::uint32_t precision, NumberVector tag)
    : numberrepbody(numbertype::doublenumber, makeState(count, precision, tag)) {}

doublenumber::doublenumber(std::uint64_t count, std::uint32_t precision, UnsetVector tag)
    : numberrepbody(numbertype::doublenumber, makeState(count, precision, tag)) {}

doublenumber::doublenumber(const doublenumber& source)
    : numberrepbody(numbertype::doublenumber,
                    makeState(source.isempty() ? 0 : 1, kScalarPrecision, NumberVector::tag)) {
    if (!isempty()) {
        setelement(source.getelement());
    }
}

doublenumber::doublenumber(const doublenumber* source, NumberVector) : doublenumber(source, 0, source->numel()) {}

doublenumber::doublenumber(const doublenumber* source, std::uint64_t start, std::uint64_t count)
    : numberrepbody(numbertype::doublenumber, makeState(count, source->get_stored_precision(), UnsetVector::tag)) {
    std::ranges::copy(source->elements().subspan(start, count), state().elements);
}

doublenumber::doublenumber(const doublenumber* source, CopyIndex)
    : numberrepbody(numbertype::doublenumber, source->mState) {
    incrcount();
}

doublenumber::~doublenumber() {
    if (releaseState()) {
        delete &state();
    }
}

doublenumber* doublenumber::clone() const {
    return new doublenumber(*this);
}

void doublenumber::resize(std::uint64_t count) {
    state().resize(count);
}

void doublenumber::setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength, double,
                            int exponent, double) {
    double value = 0.0;
    for (int i = wordCount; i-- > 0;) {
        value = words[i] + value * 0x1p32;
    }
    const int topBit = wordlength > 0 ? wordlength - 1 : INT_MAX;
    if (isSigned && topBit / 32 < wordCount && (words[topBit / 32] >> (topBit % 32) & 1U) != 0) {
        value += 0.0 - ::pow2(wordlength);
    }
    setelement(rounding::scaleByPowerOfTwo(value, exponent));
}

void doublenumber::setvalue(const std::uint32_t* words, int wordCount, bool isSigned, int wordlength,
                            int fractionlength) {
    setvalue(words, wordCount, isSigned, wordlength, 1.0, rounding::negatedExponent(fractionlength), 0.0);
}

doublenumber& doublenumber::stripscaling(double, int exponent, double) {
    const double scaled = rounding::scaleByPowerOfTwo(getelement(), rounding::negatedExponent(exponent));
    setelement(std::round(scaled));
    return *this;
}

void doublenumber::stridesort(bool ascending, std::uint64_t stride, std::uint64_t length) {
    stridesorting::stridesort(state().elements, numel(), ascending, stride, length, isLess);
}

void doublenumber::stridesort2(double* index, bool ascending, std::uint64_t stride, std::uint64_t length) {
    stridesorting::stridesort2(state().elements, index, numel(), ascending, stride, length, isLess, isEqual);
}

int doublenumber::unbiasedexponent() const {
    const auto field = static_cast<int>((bits() & kExponentBits) >> 52);
    if (field != 0 && field != 0x7ff) {
        return field - 1023;
    }
    // The host runtime leaves the exponent of infinity and NaN unspecified; they are treated like zero.
    int exponent = 0;
    if (field == 0) {
        std::frexp(getelement(), &exponent);
    }
    return exponent - 1;
}

void doublenumber::disp() const {
    for (std::uint64_t i = 0; i < numel(); ++i) {
        print("\ndoublenumber[%ld] = %g", static_cast<long>(i), getelement(i));
    }
}

doublenumber& doublenumber::hypot(double a, double b) {
    setelement(services().hypot(a, b));
    return *this;
}

std::int8_t doublenumber::fixed2int8(int, int scale) const {
    return truncateTo<std::int8_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::int16_t doublenumber::fixed2int16(int, int scale) const {
    return truncateTo<std::int16_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::int32_t doublenumber::fixed2int32(int, int scale) const {
    return truncateTo<std::int32_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::int64_t doublenumber::fixed2int64(int, int scale) const {
    return truncateTo<std::int64_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::uint8_t doublenumber::fixed2uint8(int, int scale) const {
    return truncateTo<std::uint8_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::uint16_t doublenumber::fixed2uint16(int, int scale) const {
    return truncateTo<std::uint16_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::uint32_t doublenumber::fixed2uint32(int, int scale) const {
    return truncateTo<std::uint32_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
std::uint64_t doublenumber::fixed2uint64(int, int scale) const {
    return truncateTo<std::uint64_t>(rounding::scaleByPowerOfTwo(todouble(), scale));
}
