// Loops written by hand, compiled for the widest vectors that the processor has.
#pragma once

// Marks a function for one instruction set; empty where it doesn't exist.
#if defined(__x86_64__)
#define AVX512_LOOP __attribute__((target("avx512f,avx512dq,avx512vl,prefer-vector-width=512"), optimize("O3")))
#define AVX2_LOOP __attribute__((target("avx2"), optimize("O3")))
#else
#define AVX512_LOOP
#define AVX2_LOOP
#endif

/// The forms of `Loop::run`, a static function that is always inlined and takes `Arguments`.
template <class Loop, class... Arguments>
struct VectorTargets {
    using Function = void (*)(Arguments...);

    AVX512_LOOP static void run512(Arguments... arguments) { Loop::run(arguments...); }
    AVX2_LOOP static void run256(Arguments... arguments) { Loop::run(arguments...); }
    static void runPlain(Arguments... arguments) { Loop::run(arguments...); }

    static Function best() {
#if defined(__x86_64__)
        if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq")) {
            return run512;
        }
        if (__builtin_cpu_supports("avx2")) {
            return run256;
        }
#endif
        return runPlain;
    }
};
