# How every target of the project is made. A folder's sources are all its .cpp files.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
find_program(KELM_CCACHE ccache)
if(KELM_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${KELM_CCACHE}")
endif()
find_program(KELM_MOLD mold)
if(KELM_MOLD)
  add_link_options(-fuse-ld=mold)
endif()
find_package(Threads REQUIRED)
include(GNUInstallDirs)
set(KELM_VERSION_SCRIPT "${CMAKE_CURRENT_LIST_DIR}/kelm.map")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wnon-virtual-dtor
                    -fno-omit-frame-pointer
                    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.")
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-Wthread-safety)
else()
  # g++ 12, when it optimises, sees overlaps and ends of arrays where std::string has none.
  add_compile_options(-Wno-restrict -Wno-array-bounds -Wno-stringop-overflow
                      -Wno-stringop-overread)
endif()
if(KELM_BUILD_FUZZERS)
  set(KELM_SANITIZE fuzzer-no-link,address,undefined)
endif()
if(KELM_SANITIZE)
  # The check "vptr" writes into pipes, where fault injection would hit it.
  add_compile_options(-fsanitize=${KELM_SANITIZE} -fno-sanitize=vptr -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KELM_SANITIZE})
endif()

# What nearly every source includes; half of the time that it takes to compile one. Each source still
# includes what it uses: the clang preset compiles without precompiled headers.
set(KELM_COMMON_HEADERS <algorithm> <array> <atomic> <chrono> <condition_variable> <cstdint>
  <cstdlib> <cstring> <functional> <limits> <map> <memory> <mutex> <optional> <span> <string>
  <string_view> <thread> <unordered_map> <utility> <variant> <vector>)

# kelm_library(<folder> DEPENDS <folders…> SERVICES <linux_…> LINK <third-party targets…>)
# One library a folder of kelm/. DEPENDS is the exact list of folders that it may include; SERVICES
# are the system's services that it calls: linked, so that their makers are found, never included.
function(kelm_library folder)
  cmake_parse_arguments(arg "" "" "DEPENDS;SERVICES;LINK" ${ARGN})
  set(depends ${arg_DEPENDS} ${arg_SERVICES})
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  add_library(kelm_${folder} ${sources})
  add_library(KelmCore::${folder} ALIAS kelm_${folder})
  if(folder STREQUAL "base")
    target_precompile_headers(kelm_base PRIVATE ${KELM_COMMON_HEADERS})
  else()
    target_precompile_headers(kelm_${folder} REUSE_FROM kelm_base)
  endif()
  # No export definition: the precompiled header must see the same definitions in every folder.
  set_target_properties(kelm_${folder} PROPERTIES EXPORT_NAME ${folder} DEFINE_SYMBOL ""
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN"
    LINK_DEPENDS "${KELM_VERSION_SCRIPT}" KELM_DEPENDS "${depends}")
  target_include_directories(kelm_${folder} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(kelm_${folder} PUBLIC cxx_std_20)
  if(BUILD_SHARED_LIBS)
    target_link_options(kelm_${folder} PRIVATE -Wl,--no-undefined
      "-Wl,--version-script=${KELM_VERSION_SCRIPT}")
  endif()
  foreach(dependency IN LISTS depends)
    target_link_libraries(kelm_${folder} PUBLIC kelm_${dependency})
  endforeach()
  target_link_libraries(kelm_${folder} PRIVATE ${arg_LINK} Threads::Threads)
  set_property(GLOBAL APPEND PROPERTY KELM_LIBRARIES kelm_${folder})
endfunction()

# kelm_test(<name> LINK <targets…>): one program, <name>_test, from this folder's sources.
function(kelm_test name)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  add_executable(${name}_test ${sources})
  set_target_properties(${name}_test PROPERTIES ENABLE_EXPORTS ON)
  target_link_libraries(${name}_test PRIVATE ${arg_LINK} kelm_test_support GTest::gtest_main)
  target_precompile_headers(${name}_test REUSE_FROM kelm_test_support)
  target_compile_definitions(${name}_test PRIVATE
    KELM_TEST_DATA="${CMAKE_CURRENT_SOURCE_DIR}/data")
  gtest_discover_tests(${name}_test TEST_PREFIX ${name}/ DISCOVERY_MODE PRE_TEST
    PROPERTIES TIMEOUT 300)
endfunction()

# kelm_page_programs(<page> LINK <targets…>): every program of docs/<page>.md is a test that it prints
# what stands below it, in a new folder.
function(kelm_page_programs page)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  set(file "${PROJECT_SOURCE_DIR}/docs/${page}.md")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
  file(READ "${file}" rest)
  set(number 0)
  while(rest MATCHES "```cpp\n([^`]*)```\n\n```text\n([^`]*)```(.*)")
    set(program "${CMAKE_MATCH_1}")
    set(printed "${CMAKE_MATCH_2}")
    set(rest "${CMAKE_MATCH_3}")
    math(EXPR number "${number} + 1")
    set(name ${page}_example_${number})
    file(CONFIGURE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp" CONTENT "${program}" @ONLY)
    add_executable(${name} "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
    target_link_libraries(${name} PRIVATE ${arg_LINK})
    string(REGEX REPLACE "([][+.*()^$?|\\])" "\\\\\\1" printed "${printed}")
    string(REPLACE ";" "." printed "${printed}")  # which would divide it into a list
    add_test(NAME docs/${name}
             COMMAND sh -c [[cd "$(mktemp -d)" && "$0"; rm -r "$PWD"]] $<TARGET_FILE:${name}>)
    set_tests_properties(docs/${name} PROPERTIES PASS_REGULAR_EXPRESSION "^${printed}$")
  endwhile()
  if(number EQUAL 0)
    message(FATAL_ERROR "docs/${page}.md has no program")
  endif()
endfunction()

# Sets `out` to what a program of one source links: the targets that its line
# "// link: kelm_crypto kelm_testing" names, else the whole library.
function(kelm_program_links source out)
  file(STRINGS "${source}" line REGEX "^// link: " LIMIT_COUNT 1)
  if(line)
    string(REGEX REPLACE "^// link: +" "" targets "${line}")
    string(REGEX REPLACE " +" ";" targets "${targets}")
  else()
    get_property(targets GLOBAL PROPERTY KELM_LIBRARIES)
  endif()
  set(${out} "${targets}" PARENT_SCOPE)
endfunction()

# kelm_fuzz(<name> LINK <targets…>): <name>_fuzz from <name>.cpp, which has an
# LLVMFuzzerTestOneInput. A libFuzzer program with KELM_BUILD_FUZZERS; else a program that replays
# the seeds of corpus/<name>/, which is the test fuzz_replay/<name>.
function(kelm_fuzz name)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  set(seeds "${CMAKE_CURRENT_SOURCE_DIR}/corpus/${name}")
  add_executable(${name}_fuzz ${name}.cpp)
  target_link_libraries(${name}_fuzz PRIVATE ${arg_LINK})
  set_property(GLOBAL APPEND PROPERTY KELM_FUZZ_PROGRAMS ${name}_fuzz)
  if(KELM_BUILD_FUZZERS)
    target_link_options(${name}_fuzz PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${name}_fuzz PRIVATE support/replay.cpp)
    add_test(NAME fuzz_replay/${name} COMMAND ${name}_fuzz "${seeds}")
    set_tests_properties(fuzz_replay/${name} PROPERTIES TIMEOUT 120)
  endif()
endfunction()

# kelm_bench(<name> LINK <targets…>): the Google Benchmark program <name>_bench from <name>.cpp.
function(kelm_bench name)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  add_executable(${name}_bench ${name}.cpp)
  set_target_properties(${name}_bench PROPERTIES ENABLE_EXPORTS ON)
  target_link_libraries(${name}_bench PRIVATE ${arg_LINK} kelm_bench_main)
  set_property(GLOBAL APPEND PROPERTY KELM_BENCH_PROGRAMS ${name}_bench)
endfunction()
