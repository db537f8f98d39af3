// An allocator whose allocations fail on demand, for the whole process.
//
// hook.cpp defines malloc and its family over those of the C library, so that every library of the process allocates by
// it: linked into a program, or preloaded as a library of its own. Python calls these functions by their names.
#pragma once

#include <cstdint>

extern "C" {

/// Counts allocations from here on and lets the one of that number, from 1 on, fail once; 0 lets none fail.
void faults_arm(std::uint64_t failing);
/// From here on every allocation fails that would bring the bytes in use that far above those in use now.
void faults_limit(std::uint64_t bytes);
/// Ends both, and returns how many allocations there were.
std::uint64_t faults_disarm();
/// Whether an allocation has failed since it was armed.
bool faults_failed();
/// The blocks in use.
std::int64_t faults_live();
/// The greatest number of bytes in use since it was armed, above those in use then.
std::int64_t faults_peak();
/// The addresses of the calls that led to the last failure, the innermost first; returns how many there are.
int faults_frames(void** frames, int most);
/// Lets the hook write those into memory that another process sees, as well.
void faults_share(void** frames, int* count, int most);
}
