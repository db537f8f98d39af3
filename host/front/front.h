// What users of the host expect around the classes: arrays made with names and values, joined, reduced along any
// dimension, compared and divided.
//
//     front::install(session);
//     const Value a = session.call("fi", {3.14, 1, 8, 4, "RoundMode", "floor"});
//     const Value b = session.call("horzcat", {1, a, 2});      // a `fi` may stand at any place
//     const std::vector<Value> m = session.call(2, "max", {b});
//
// Each is also a plain function of the headers below. All rest on the methods of the classes and on `Session` alone.
#pragma once

#include "host/front/arithmetic.h"
#include "host/front/comparison.h"
#include "host/front/concatenation.h"
#include "host/front/construction.h"
#include "host/front/reductions.h"
#include "host/front/reshape.h"

namespace front {

/// Adds the functions to the host: "fi" as one called by name, the others as methods of class "embedded.fi" (and
/// "ispropequal" of its type and rules). They stay after the session; a second call replaces them by themselves.
/// Dimensions count from 1 in them, and the empty array stands for an argument left out: `max(a, [], 2)`.
void install(Session& session);

}  // namespace front
