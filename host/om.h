// The host's object model (`OM` and `om` families), all of it: packages and classes, property and method records, data
// types, handles and events.
//
// Read OMInterface.h for handles and their references first, then OMClass.h, OMPropInfo.h and OMMethodInfo.h for the
// records, OMDataType.h for the forms of values. All of it belongs to the interpreter's thread, without locks. Nothing
// is destroyed at the end of the process, since records of loaded modules may no longer exist then.
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

/// Returns a public package by name, after loading the module that defines it, if the host knows one; null if there is
/// none.
TOLVANE_HOST_API OMApplication* omFindPackageOnPath(const char* name);

/// Calls the host's built-in function of that name ("set", "get", "disp", ...), even if an argument's class has a
/// method of that name. Results are new arrays that the caller owns. Returns whether it succeeded; on failure the error
/// goes into the status and no result is stored.
TOLVANE_HOST_API bool omCallBuiltInMethod(const char* name, int resultCount, hvArray** results, int argumentCount,
                                          hvArray** arguments, OMErrorStatus& status);
