// Everything that programs need for fixed-point arithmetic; include it as <tolvane/tolvane.h>.
#pragma once

#include "program/error.h"
#include "program/exact_value.h"
#include "program/fixed_array.h"
#include "program/fixed_log.h"
#include "program/float_array.h"
#include "program/format.h"
#include "program/word_files.h"
#include "program/word_text.h"
