// Puts what callers can see of a value into a transcript: all of it, by the public headers alone.
#pragma once

#include <string>

#include "fi/fi.h"
#include "host/reference/Session.h"
#include "tests/witness/transcript.h"

using EmbeddedTypeSystem::NumericType;

class filog;

/// The current element: exactly, with the sign of a zero, whatever its body.
void show(Transcript& out, const char* label, const number& value);
/// All elements with precision and kind of the body and the cursor, which is put back.
void showAll(Transcript& out, const char* label, const number& values);
void show(Transcript& out, const char* label, const NumericType& type);
void show(Transcript& out, const char* label, const fimath& rules);
void show(Transcript& out, const char* label, const qlogger& log);
void show(Transcript& out, const char* label, const filog& log);
void show(Transcript& out, const char* label, const quantizer& q);
/// A view is shown without its elements, which are its root's.
void show(Transcript& out, const char* label, const fi& array, bool isView = false);
void show(Transcript& out, const char* label, const hvArray* array);
void show(Transcript& out, const char* label, const hostref::Value& value);
/// What no object holds: the session's logs, the log map, the global rules, switches and defaults.
void showSession(Transcript& out);
/// Brings all of that to one start, so that cases don't depend on each other.
void resetSession();
