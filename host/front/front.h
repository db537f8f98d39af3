// The functions that users of the host expect around the classes: construction of arrays from names and values,
// joining, reduction along any dimension, comparison and division.
//
//     front::install(session);
//     const Value a = session.call("fi", {3.14, 1, 8, 4, "RoundMode", "floor"});
//     const Value b = session.call("horzcat", {1, a, 2});      // a `fi` may be any argument
//     const std::vector<Value> m = session.call(2, "max", {b});
//
// Each is also a plain function in the headers below. All use only the methods of the classes and `Session`.
#pragma once

#include "host/front/arithmetic.h"
#include "host/front/comparison.h"
#include "host/front/concatenation.h"
#include "host/front/construction.h"
#include "host/front/help.h"
#include "host/front/reductions.h"
#include "host/front/reshape.h"

namespace front {

/// Adds the functions to the host: "fi", "help", "methods" and "properties" as functions called by name, the others as
/// methods of class "embedded.fi" (and
/// "ispropequal" also of its type and rules). They remain after the session; a second call replaces them with the same
/// functions. Dimensions count from 1, and the empty array means an omitted argument: `max(a, [], 2)`.
void install(Session& session);

}  // namespace front
