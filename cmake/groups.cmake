# What the Makefile builds by one name; included last, when every target stands.
get_property(modules GLOBAL PROPERTY TAVRO_MODULES)
get_property(tests GLOBAL PROPERTY TAVRO_TESTS)
get_property(tsan_tests GLOBAL PROPERTY TAVRO_TSAN_TESTS)
get_property(benchmarks GLOBAL PROPERTY TAVRO_BENCHMARKS)

# The programs and the modules that they load.
add_custom_target(robot DEPENDS ${modules})
foreach(program tavro ledctl)
  if(TARGET ${program})
    add_dependencies(robot ${program})
  endif()
endforeach()
# Every test, and what tests start or load.
add_custom_target(tests_all DEPENDS robot ${tests})
# The tests with the label tsan, and the modules that they load.
add_custom_target(tests_tsan DEPENDS ${modules} ${tsan_tests})
add_custom_target(benchmarks DEPENDS ${benchmarks})
