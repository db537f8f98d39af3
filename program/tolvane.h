// Everything that programs need for fixed-point arithmetic; include it as <tolvane/tolvane.h>.
#pragma once

#include "program/bits.h"
#include "program/code_location.h"
#include "program/error.h"
#include "program/exact_value.h"
#include "program/filters.h"
#include "program/fixed_array.h"
#include "program/fixed_log.h"
#include "program/fixed_scalar.h"
#include "program/float_array.h"
#include "program/format.h"
#include "program/functions.h"
#include "program/log_analysis.h"
#include "program/random_seed.h"
#include "program/shapes.h"
#include "program/word_files.h"
#include "program/word_text.h"
