// The mark of accessors that sources of this library expand in place and programs call.
//
// Programs then don't depend on the layout behind an accessor. While the library is built, a header that declares such
// accessors includes their definitions from its .inl.h; inlined_calls.cpp has the copies that programs call.
#pragma once

#ifdef TOLVANE_BUILDING
#ifdef __clang__
// It reports that the attribute means the same as in gcc.
#pragma clang diagnostic ignored "-Wgnu-inline-cpp-without-extern"
#endif
#define TOLVANE_INLINE_INSIDE [[gnu::gnu_inline]] inline
#else
#define TOLVANE_INLINE_INSIDE
#endif
