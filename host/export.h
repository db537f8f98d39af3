// Export marks. TOLVANE_API marks the exports of libtolvane_engine.so and of libtolvane.so, which uses those of the
// first; TOLVANE_HOST_API those of the host library.
//
// The libraries are built with hidden visibility, so a class or function without a mark isn't exported. The marks
// expand to the same attribute whether a translation unit defines or uses the symbol; ELF needs no import mark.
#pragma once

#define TOLVANE_API __attribute__((visibility("default")))
#define TOLVANE_HOST_API __attribute__((visibility("default")))
