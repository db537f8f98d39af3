# Compile settings shared by every target, and the two functions that declare a layer and its tests.

add_library(tolvane_settings INTERFACE)
target_compile_features(tolvane_settings INTERFACE cxx_std_20)
target_include_directories(tolvane_settings INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)

# What our own sources are compiled with; targets that link the libraries get none of it.
add_library(tolvane_warnings INTERFACE)
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(
    tolvane_warnings
    INTERFACE -Wall
              -Wextra
              -Wpedantic
              -Wshadow
              -Wconversion
              -Wsign-conversion
              -Wnon-virtual-dtor
              -Woverloaded-virtual
              $<$<BOOL:${TOLVANE_WERROR}>:-Werror>)
endif()
target_compile_options(
  tolvane_warnings
  INTERFACE # A product and a sum are two roundings here; fusing them would change results.
            -ffp-contract=off
            -fno-math-errno
            -fno-trapping-math
            # Nobody replaces the library's functions one by one, so calls inside it need not allow for that.
            -fno-semantic-interposition)
if(TOLVANE_SANITIZE)
  target_compile_options(tolvane_warnings INTERFACE -fsanitize=${TOLVANE_SANITIZE} -fno-sanitize-recover=all
                                                    -fno-omit-frame-pointer)
  target_link_options(tolvane_warnings INTERFACE -fsanitize=${TOLVANE_SANITIZE})
endif()
if(TOLVANE_COVERAGE)
  target_compile_options(tolvane_warnings INTERFACE --coverage)
  target_link_options(tolvane_warnings INTERFACE --coverage)
endif()

# Common properties of every library of this project.
function(tolvane_library_properties target)
  set_target_properties(
    ${target}
    PROPERTIES CXX_EXTENSIONS OFF
               CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON
               POSITION_INDEPENDENT_CODE ON)
endfunction()

# Keeps what headers of other libraries instantiate out of the dynamic table of a shared library. Hidden visibility does
# not reach it: those headers mark their namespaces visible themselves. Names are matched as they are mangled, since a
# demangled template function begins with its result.
function(tolvane_exports target)
  set(patterns "")
  # std and its abbreviations, __gnu_cxx, hwy, tbb, boost, mu
  foreach(namespace "S[abdiost]" 9__gnu_cxx 3hwy 3tbb 5boost 2mu)
    # Plain and nested names, qualified members, local entities, guards, tables of classes and of pointers to them.
    foreach(prefix "" Z "T?" "T?P" "T?PK")
      string(APPEND patterns "    _Z${prefix}${namespace}*;\n")
    endforeach()
    foreach(prefix "" Z GV GVZ "T?" "T?P" "T?PK")
      foreach(qualifier "" "[KRO]" "K[RO]")
        string(APPEND patterns "    _Z${prefix}N${qualifier}${namespace}*;\n")
      endforeach()
    endforeach()
  endforeach()
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/exports.map CONTENT "{\n  local:\n@patterns@};\n" @ONLY)
  target_link_options(${target} PRIVATE LINKER:--version-script=${PROJECT_BINARY_DIR}/exports.map
                      LINKER:--exclude-libs,ALL)
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${PROJECT_BINARY_DIR}/exports.map)
endfunction()

# tolvane_layer(<folder> LINKS <targets> [PRIVATE_LINKS <targets>] [HOST_SOURCES <regex>] [HOST_LINKS <targets>]): two
# static libraries of the sources of the folder and its rooms. tolvane_<folder> calls no host, and links none.
# tolvane_<folder>_host has the sources that do: *_host.cpp, and what matches the expression.
function(tolvane_layer folder)
  cmake_parse_arguments(arg "" "HOST_SOURCES" "LINKS;PRIVATE_LINKS;HOST_LINKS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
  set(host_sources ${sources})
  set(host_side "_host\\.cpp$")
  if(arg_HOST_SOURCES)
    string(APPEND host_side "|/${folder}/(${arg_HOST_SOURCES})\\.cpp$")
  endif()
  list(FILTER sources EXCLUDE REGEX "${host_side}")
  list(FILTER host_sources INCLUDE REGEX "${host_side}")
  tolvane_layer_library(tolvane_${folder} SOURCES ${sources} LINKS tolvane_settings ${arg_LINKS} PRIVATE_LINKS
                        ${arg_PRIVATE_LINKS})
  if(host_sources)
    tolvane_layer_library(
      tolvane_${folder}_host SOURCES ${host_sources} LINKS tolvane_${folder} ${TOLVANE_HOST_TARGET} ${arg_HOST_LINKS}
      PRIVATE_LINKS ${arg_PRIVATE_LINKS})
  endif()
endfunction()

function(tolvane_layer_library target)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(${target} STATIC ${arg_SOURCES})
  tolvane_library_properties(${target})
  target_compile_definitions(${target} PRIVATE TOLVANE_BUILDING)
  target_link_libraries(
    ${target}
    PUBLIC ${arg_LINKS}
    PRIVATE $<BUILD_INTERFACE:tolvane_warnings> ${arg_PRIVATE_LINKS})
endfunction()

# tolvane_tests(<folder> LINKS <targets>): one executable of tests/<folder>/*.cpp and of the tests in its rooms.
function(tolvane_tests folder)
  cmake_parse_arguments(arg "" "" "LINKS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${folder}/*.cpp
       ${PROJECT_SOURCE_DIR}/tests/${folder}/*/*_test.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${folder}_test ${sources})
  set_target_properties(${folder}_test PROPERTIES CXX_EXTENSIONS OFF)
  target_link_libraries(${folder}_test PRIVATE tolvane_test_support ${arg_LINKS} tolvane_warnings)
  gtest_discover_tests(${folder}_test TEST_PREFIX "${folder}." DISCOVERY_TIMEOUT 120)
endfunction()
