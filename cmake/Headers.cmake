# The headers that programs may include, as file sets: they are installed, and no other header is.
#
# The host's headers, sessions and the functions around the array are public as a whole. Of the library it is the headers
# of exported classes and functions, with what those include; a header in a room is never one of them.

file(GLOB host_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/host/*.h)
file(GLOB session_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/host/reference/*.h)
file(GLOB front_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/host/front/*.h)

function(tolvane_headers target scope)
  target_sources(${target} ${scope} FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARGN})
endfunction()

# <tolvane/version.h> and <tolvane/tolvane.h>; beside them, the headers of the tree as they are installed, <tolvane/fi/fi.h>.
set(public_include_dir ${PROJECT_BINARY_DIR}/include)
configure_file(cmake/version.h.in ${public_include_dir}/tolvane/version.h @ONLY)
file(CONFIGURE OUTPUT ${public_include_dir}/tolvane/tolvane.h CONTENT "#pragma once\n\n#include \"program/tolvane.h\"\n")
foreach(folder host ${TOLVANE_LAYERS})
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${public_include_dir}/tolvane/${folder} SYMBOLIC)
endforeach()
target_sources(
  tolvane_settings INTERFACE FILE_SET version TYPE HEADERS BASE_DIRS ${public_include_dir}
                             FILES ${public_include_dir}/tolvane/version.h ${public_include_dir}/tolvane/tolvane.h)

tolvane_headers(tolvane_settings INTERFACE ${host_headers})
if(TARGET tolvane_host)
  tolvane_headers(tolvane_host PUBLIC ${session_headers})
  tolvane_headers(tolvane_front PUBLIC ${front_headers})
endif()
tolvane_headers(
  tolvane_engine
  PUBLIC
  numbers/TolvaneKit.h
  numbers/doublenumber.h
  numbers/inlining.h
  numbers/mpnumber.h
  numbers/number.h
  numbers/numberfactory.h
  numbers/numberops.h
  numbers/numberrepbody.h
  numbers/tags.h
  numbers/words.h
  typesystem/EmbeddedTypeVisitor.h
  typesystem/MD5CheckSumModEndian.h
  typesystem/ScalarType.h
  typesystem/Type.h
  descriptors/FxpCoreClientInterface.h
  descriptors/LocalFxpClient.h
  descriptors/NumericType.h
  descriptors/RealPoint.h
  descriptors/embedded.h
  descriptors/fimath.h
  descriptors/fxpDataTypeProp.h
  descriptors/fxpProdHardware.h
  logging/filog.h
  logging/operation_counts.h
  logging/qlogger.h
  logging/reports.h
  quantization/fixed_limits.h
  quantization/float_limits.h
  quantization/quantize_numeric.h
  quantization/quantizer.h
  fi/FiColumnReference.h
  fi/FiReference.h
  fi/dimensions.h
  fi/fi.h
  program/assignments.h
  program/bits.h
  program/code_location.h
  program/error.h
  program/exact_value.h
  program/filters.h
  program/fixed_array.h
  program/fixed_log.h
  program/fixed_scalar.h
  program/float_array.h
  program/format.h
  program/functions.h
  program/interruption.h
  program/log_analysis.h
  program/log_level.h
  program/random_seed.h
  program/scalar_place.h
  program/shapes.h
  program/tolvane.h
  program/word_files.h
  program/word_text.h)
tolvane_headers(
  tolvane
  PUBLIC
  typesystem/CharType.h
  typesystem/ComplexType.h
  typesystem/FIEnumType.h
  typesystem/HandleReference.h
  typesystem/MatrixType.h
  typesystem/OpaqueType.h
  typesystem/PartReference.h
  typesystem/PointerType.h
  typesystem/StructElement.h
  typesystem/StructType.h
  typesystem/TypeCycles.h
  typesystem/VoidType.h
  binding/module.h)
