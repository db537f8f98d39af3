// The host's object model (`OM` and `om` families), all of it: packages and classes, property and method records, data
// types, handles and events.
//
// Read OMInterface.h for handles and their references first, then OMClass.h, OMPropInfo.h and OMMethodInfo.h for the
// records, OMDataType.h for the shapes of values. All of it belongs to the interpreter's thread and locks nothing.
// Nothing is destroyed at the end of the process: records of loaded modules may be gone by then.
#pragma once

#include "host/BooleanDataType.h"
#include "host/EnumStringType.h"
#include "host/ErrorIdException.h"
#include "host/OMApplication.h"
#include "host/OMApplicationManager.h"
#include "host/OMClass.h"
#include "host/OMDataType.h"
#include "host/OMDatabaseClient.h"
#include "host/OMErrorStatus.h"
#include "host/OMEvent.h"
#include "host/OMInterface.h"
#include "host/OMInterfaceType.h"
#include "host/OMInterfaceVectorType.h"
#include "host/OMListenerManager.h"
#include "host/OMMethodInfo.h"
#include "host/OMMethodSignature.h"
#include "host/OMPropInfo.h"
#include "host/OMPropInfoTemplate.h"
#include "host/OMPropertyEvent.h"
#include "host/OMTypeRepository.h"
#include "host/RealPointType.h"
#include "host/StringType.h"
#include "host/StringVectorType.h"
#include "host/TypedEnumStringType.h"

struct hvArray;

/// Returns a public package by name, first loading the module that defines it where the host knows one; null when there
/// is none.
TOLVANE_HOST_API OMApplication* omFindPackageOnPath(const char* name);

/// Calls the host's own function behind the name ("set", "get", "disp", ...), past a method of that name which an
/// argument's class may have. Results are new arrays that the caller owns. Returns whether it succeeded; an error goes
/// into the status and no result is stored then.
TOLVANE_HOST_API bool omCallBuiltInMethod(const char* name, int resultCount, hvArray** results, int argumentCount,
                                          hvArray** arguments, OMErrorStatus& status);
