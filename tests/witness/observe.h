// Writes the complete visible state of a value to a transcript, using only the public headers.
#pragma once

#include <string>

#include "fi/fi.h"
#include "host/reference/Session.h"
#include "tests/witness/transcript.h"

using EmbeddedTypeSystem::NumericType;

class filog;

/// The current element: exactly, with the sign of a zero, whatever its body.
void show(Transcript& out, const char* label, const number& value);
/// All elements with precision and kind of the body, and the cursor, which is restored.
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
/// State outside objects: the session's logs, the log map, the global rules, switches and defaults.
void showSession(Transcript& out);
/// Resets all of that, so that cases don't depend on each other.
void resetSession();
