// Export marks. TOLVANE_API marks what libtolvane.so offers, TOLVANE_HOST_API what the host library offers.
//
// The libraries are built with hidden visibility, so a class or function without a mark stays inside. The marks
// expand to the same attribute whether a translation unit defines or uses the symbol; ELF needs no import mark.
#pragma once

#define TOLVANE_API __attribute__((visibility("default")))
#define TOLVANE_HOST_API __attribute__((visibility("default")))
