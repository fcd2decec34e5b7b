# Helpers for the module libraries of src/ and the programs, tests, benchmarks and fuzz targets
# built on them.

# Warnings for every target of the project; errors with ORRELWICK_WERROR (the test build).
add_library(orrelwick_warnings INTERFACE)
target_compile_options(orrelwick_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
  -Wno-missing-field-initializers
  $<$<BOOL:${ORRELWICK_WERROR}>:-Werror>)

# orrelwick_module(NAME SOURCES... [PUBLIC target...] [PRIVATE target...])
# Declares the static library orrelwick_<NAME> from the folder src/<NAME>. Its headers are
# included as "<NAME>/Header.h" through an include root that holds only a link to that folder,
# so a module sees the headers of the modules it links to and of no other: an include from a
# layer above fails to build. PUBLIC lists what the module's own headers include.
function(orrelwick_module name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  set(root ${PROJECT_BINARY_DIR}/include/${name})
  file(MAKE_DIRECTORY ${root})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${name} SYMBOLIC)
  add_library(orrelwick_${name} STATIC ${ARG_SOURCES})
  target_include_directories(orrelwick_${name} PUBLIC ${root})
  target_link_libraries(orrelwick_${name} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE}
                        orrelwick_warnings)
endfunction()

# orrelwick_test(NAME SOURCES... MODULES module... [LIBS target...]): a GoogleTest executable
# on the named modules, registered with CTest.
function(orrelwick_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;MODULES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  list(TRANSFORM ARG_MODULES PREPEND orrelwick_)
  target_link_libraries(${name} PRIVATE orrelwick_testmain ${ARG_MODULES} GTest::gtest GTest::gmock
                        ${ARG_LIBS} orrelwick_warnings)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;ORRELWICK_SOURCE_DIR=${PROJECT_SOURCE_DIR};ASAN_OPTIONS=detect_leaks=1"
    TIMEOUT 600)
endfunction()
