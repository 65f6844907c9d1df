# Helpers shared by the subsystem folders.

# The exported names live in one exports.list per subsystem (one name a line, '#' comments).
function(mc_read_exports out_var)
  set(names)
  foreach(sub IN LISTS MC_SUBSYSTEMS)
    set(list_file "${PROJECT_SOURCE_DIR}/${sub}/exports.list")
    if(EXISTS "${list_file}")
      set_property(DIRECTORY "${PROJECT_SOURCE_DIR}" APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${list_file}")
      file(STRINGS "${list_file}" lines)
      foreach(line IN LISTS lines)
        string(REGEX REPLACE "#.*$" "" line "${line}")
        string(STRIP "${line}" line)
        if(NOT line STREQUAL "")
          list(APPEND names "${line}")
        endif()
      endforeach()
    endif()
  endforeach()
  list(SORT names)
  set(${out_var} "${names}" PARENT_SCOPE)
endfunction()

function(mc_generate_version_script map_file names_file)
  mc_read_exports(names)
  set(map "MC_1 {\n  global:\n")
  set(plain "")
  foreach(name IN LISTS names)
    string(APPEND map "    ${name};\n")
    string(APPEND plain "${name}\n")
  endforeach()
  string(APPEND map "  local:\n    *;\n};\n")
  file(WRITE "${map_file}.tmp" "${map}")
  file(WRITE "${names_file}.tmp" "${plain}")
  configure_file("${map_file}.tmp" "${map_file}" COPYONLY)
  configure_file("${names_file}.tmp" "${names_file}" COPYONLY)
endfunction()

# mc_add_test(name SOURCES ... [RESOURCE_LOCK lock] [TIMEOUT seconds]): a GoogleTest program
# linked with the internal library, the build-tree configuration directory and the test support
# library. RESOURCE_LOCK keeps its tests from running beside other tests holding the same lock
# (mc_config_dir: tests that write files of the shared configuration directory). TIMEOUT fails
# each of its tests that runs longer (programs with tests that could hang).
function(mc_add_test name)
  cmake_parse_arguments(ARG "" "RESOURCE_LOCK;TIMEOUT" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES} "${MC_LSAN_SOURCE}")
  target_link_libraries(${name} PRIVATE mc_test_support mc_core_test GTest::gtest_main ${ARG_LIBRARIES})
  # gcc 12 at -O3 warns falsely about std::string concatenations inside libstdc++ (-Wrestrict).
  target_compile_options(${name} PRIVATE ${MC_WARNINGS} $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
  set(lock)
  if(ARG_RESOURCE_LOCK)
    set(lock RESOURCE_LOCK "${ARG_RESOURCE_LOCK}")
  endif()
  if(ARG_TIMEOUT)
    list(APPEND lock TIMEOUT "${ARG_TIMEOUT}")
  endif()
  gtest_discover_tests(${name}
    WORKING_DIRECTORY "${CMAKE_BINARY_DIR}"
    DISCOVERY_TIMEOUT 60
    PROPERTIES ENVIRONMENT "MC_TEST_ROOT=${PROJECT_SOURCE_DIR}" ${lock})
endfunction()

# mc_add_bench(name SOURCES ...): a Google Benchmark program.
function(mc_add_bench name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE mc_core_test benchmark::benchmark ${ARG_LIBRARIES})
  target_compile_options(${name} PRIVATE ${MC_WARNINGS})
endfunction()

# mc_add_fuzzer(name SOURCES ... CORPUS dir): with MC_BUILD_FUZZERS a libFuzzer binary; otherwise
# the same entry point linked with a replay main that ctest runs over the corpus files. Every
# target gets the shared set-up of fuzz/support, whose scratch directory per process is also its
# configuration directory.
function(mc_add_fuzzer name)
  cmake_parse_arguments(ARG "" "CORPUS" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${ARG_SOURCES} "${MC_LSAN_SOURCE}")
  target_link_libraries(${name} PRIVATE mc_fuzz_support mc_core ${ARG_LIBRARIES})
  # scripts/fuzz.sh runs every target over a copy of its corpus: fuzz/targets.txt lists them.
  set_property(GLOBAL APPEND PROPERTY MC_FUZZERS "${name} $<TARGET_FILE:${name}> ${ARG_CORPUS}")
  if(MC_BUILD_FUZZERS)
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${name} PRIVATE "${PROJECT_SOURCE_DIR}/fuzz/replay_main.cpp")
    if(BUILD_TESTING AND ARG_CORPUS)
      add_test(NAME ${name}.replay COMMAND ${name} "${ARG_CORPUS}")
      set_tests_properties(${name}.replay PROPERTIES TIMEOUT 120)
    endif()
  endif()
endfunction()
