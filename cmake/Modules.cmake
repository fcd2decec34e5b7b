# Helpers for the subsystem object libraries and the executables built from them.

# orrelwick_module(NAME SOURCES... [DEPENDS module...] [QT component...])
# Declares the object library orrelwick_<NAME>. DEPENDS lists other modules whose objects a
# consumer also needs; they are pulled in by orrelwick_link_modules().
function(orrelwick_module name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(orrelwick_${name} OBJECT ${ARG_SOURCES})
  target_link_libraries(orrelwick_${name} PUBLIC Qt6::Core CURL::libcurl)
  set_property(GLOBAL APPEND PROPERTY ORRELWICK_MODULE_TARGETS orrelwick_${name})
  set_property(TARGET orrelwick_${name} PROPERTY ORRELWICK_DEPENDS "${ARG_DEPENDS}")
endfunction()

# Collects a module and, recursively, the modules it depends on.
function(_orrelwick_closure out)
  set(result "")
  set(queue ${ARGN})
  while(queue)
    list(POP_FRONT queue m)
    if(NOT m IN_LIST result)
      list(APPEND result ${m})
      get_property(deps TARGET orrelwick_${m} PROPERTY ORRELWICK_DEPENDS)
      list(APPEND queue ${deps})
    endif()
  endwhile()
  set(${out} ${result} PARENT_SCOPE)
endfunction()

# orrelwick_link_modules(TARGET module...): links the objects of the modules and their
# dependencies into TARGET. Tests use it to build against just the subsystems they need.
function(orrelwick_link_modules target)
  _orrelwick_closure(mods ${ARGN})
  foreach(m IN LISTS mods)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:orrelwick_${m}>)
    target_link_libraries(${target} PRIVATE Qt6::Core CURL::libcurl)
    target_include_directories(${target} PRIVATE
      $<TARGET_PROPERTY:orrelwick_${m},INTERFACE_INCLUDE_DIRECTORIES>)
  endforeach()
endfunction()

function(orrelwick_core_library)
  get_property(targets GLOBAL PROPERTY ORRELWICK_MODULE_TARGETS)
  set(objects "")
  foreach(t IN LISTS targets)
    list(APPEND objects $<TARGET_OBJECTS:${t}>)
  endforeach()
  add_library(orrelwick_core STATIC ${objects})
  target_link_libraries(orrelwick_core PUBLIC Qt6::Core CURL::libcurl)
endfunction()

# orrelwick_test(NAME SOURCES... MODULES module...): a GoogleTest executable registered with CTest.
function(orrelwick_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;MODULES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  orrelwick_link_modules(${name} ${ARG_MODULES})
  target_sources(${name} PRIVATE $<TARGET_OBJECTS:orrelwick_testmain>)
  target_link_libraries(${name} PRIVATE GTest::gtest GTest::gmock ${ARG_LIBS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests ${PROJECT_SOURCE_DIR}/tests/support)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES
    ENVIRONMENT "QT_QPA_PLATFORM=offscreen;ASAN_OPTIONS=detect_leaks=0;ORRELWICK_SOURCE_DIR=${PROJECT_SOURCE_DIR}"
    TIMEOUT 600)
endfunction()
