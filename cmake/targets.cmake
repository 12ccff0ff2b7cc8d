# The kinds of target there are. Include lines start at the root of the tree.

# tavro_library(NAME SOURCES... [DEPENDS targets...] [KIND SHARED|STATIC])
function(tavro_library name)
  cmake_parse_arguments(arg "" "KIND" "SOURCES;DEPENDS" ${ARGN})
  if(NOT arg_KIND)
    set(arg_KIND SHARED)
  endif()
  add_library(${name} ${arg_KIND} ${arg_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${arg_DEPENDS} Threads::Threads)
endfunction()

# A loadable module: an object library ${name}_objects for its tests, and lib${name}.so, which exports
# its entry point alone, so that unloading really takes it out of the process.
# tavro_module(NAME SOURCES... [DEPENDS targets...])
function(tavro_module name)
  cmake_parse_arguments(arg "" "" "SOURCES;DEPENDS" ${ARGN})
  set(entry_point ${PROJECT_SOURCE_DIR}/cmake/module.map)
  add_library(${name}_objects OBJECT ${arg_SOURCES})
  target_include_directories(${name}_objects PUBLIC ${PROJECT_SOURCE_DIR})
  target_compile_options(${name}_objects PRIVATE -fvisibility=hidden -fvisibility-inlines-hidden)
  target_link_libraries(${name}_objects PUBLIC ${arg_DEPENDS} Threads::Threads)
  add_library(${name} MODULE)
  target_link_libraries(${name} PRIVATE ${name}_objects)
  target_link_options(${name} PRIVATE -Wl,--version-script=${entry_point})
  set_target_properties(${name} PROPERTIES
    LIBRARY_OUTPUT_DIRECTORY ${TAVRO_MODULE_DIRECTORY}
    LINK_DEPENDS ${entry_point})
  set_property(GLOBAL APPEND PROPERTY TAVRO_MODULES ${name})
endfunction()

# One test program, one ctest case of the same name, labelled with its top folder. Those below the
# remote layer, and those that say TSAN, carry the label tsan: the thread sanitizer knows every
# instruction that they run.
# tavro_test(NAME SOURCES... [DEPENDS targets...] [TSAN])
find_package(GTest REQUIRED)
function(tavro_test name)
  cmake_parse_arguments(arg "TSAN" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  # What is tested is optimised as it is everywhere; the tests themselves only take longer to build so.
  target_compile_options(${name} PRIVATE -O0)
  target_link_libraries(${name} PRIVATE ${arg_DEPENDS} GTest::gmock_main Threads::Threads)
  add_test(NAME ${name} COMMAND ${name} WORKING_DIRECTORY ${PROJECT_SOURCE_DIR})
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE folder)
  string(REGEX REPLACE "/.*" "" labels "${folder}")
  if(arg_TSAN OR labels MATCHES "^(framework|hardware|services|access)$")
    list(APPEND labels tsan)
    set_property(GLOBAL APPEND PROPERTY TAVRO_TSAN_TESTS ${name})
  endif()
  set_property(GLOBAL APPEND PROPERTY TAVRO_TESTS ${name})
  # Whoever reaches the net by a proxy still reaches this machine without one.
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 LABELS "${labels}"
    ENVIRONMENT "no_proxy=127.0.0.1,localhost")
endfunction()
