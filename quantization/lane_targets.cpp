// The choice of an instruction set for the code that Highway compiles for several.
//
// Highway's own choice is in its shared library, which measures the processor's clock for milliseconds when it is
// loaded. These definitions take its place, so that nothing else of that library is needed.
#include <hwy/targets.h>

#include <atomic>
#include <cstdint>

#if HWY_ARCH_X86
#include <cpuid.h>
#endif

namespace {

#if HWY_ARCH_X86

/// `__builtin_cpu_supports` doesn't know this extension in every compiler.
bool hasF16c() {
    unsigned eax = 0;
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned edx = 0;
    return __get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0 && (ecx & bit_F16C) != 0;
}

/// A target needs every extension that Highway lets the compiler use in its code. The builtin also asks whether the
/// system saves the registers.
std::int64_t targetsOfProcessor() {
    __builtin_cpu_init();
    std::int64_t targets = HWY_ENABLED_BASELINE;
    if (!__builtin_cpu_supports("ssse3")) {
        return targets;
    }
    targets |= HWY_SSSE3;
    if (!__builtin_cpu_supports("sse4.1") || !__builtin_cpu_supports("sse4.2") || !__builtin_cpu_supports("pclmul") ||
        !__builtin_cpu_supports("aes")) {
        return targets;
    }
    targets |= HWY_SSE4;
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma") || !__builtin_cpu_supports("bmi") ||
        !__builtin_cpu_supports("bmi2") || !hasF16c()) {
        return targets;
    }
    targets |= HWY_AVX2;
    if (!__builtin_cpu_supports("avx512f") || !__builtin_cpu_supports("avx512vl") ||
        !__builtin_cpu_supports("avx512dq") || !__builtin_cpu_supports("avx512bw")) {
        return targets;
    }
    return targets | HWY_AVX3;
}

#else

std::int64_t targetsOfProcessor() {
    return HWY_ENABLED_BASELINE;
}

#endif

/// The targets that a test wants, or 0.
constinit std::atomic<std::int64_t> gTargetsForTest = 0;

}  // namespace

namespace hwy {

std::int64_t SupportedTargets() {
    const std::int64_t wanted = gTargetsForTest;
    return wanted != 0 ? wanted : targetsOfProcessor();
}

void SetSupportedTargetsForTest(std::int64_t targets) {
    gTargetsForTest = targets;
}

ChosenTarget& GetChosenTarget() {
    static constinit ChosenTarget chosen;
    return chosen;
}

}  // namespace hwy
