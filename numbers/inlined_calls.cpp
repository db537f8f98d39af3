// The accessors that programs call: the definitions of the .inl.h files, here not inline.
#undef TOLVANE_BUILDING
#include "numbers/doublenumber.inl.h"
#include "numbers/mpnumber.inl.h"
#include "numbers/number.inl.h"
#include "numbers/numberops.inl.h"
#include "numbers/numberrepbody.inl.h"
