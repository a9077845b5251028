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

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wnon-virtual-dtor -Werror
                    -fno-omit-frame-pointer)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-Wthread-safety)
endif()
if(KELM_SANITIZE)
  add_compile_options(-fsanitize=${KELM_SANITIZE} -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KELM_SANITIZE})
endif()

# kelm_library(<folder> DEPENDS <folders…> LINK <third-party targets…>)
# One library a folder of kelm/; DEPENDS is the exact list of folders that it may include.
function(kelm_library folder)
  cmake_parse_arguments(arg "" "" "DEPENDS;LINK" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/*.cpp")
  add_library(kelm_${folder} ${sources})
  add_library(KelmCore::${folder} ALIAS kelm_${folder})
  set_target_properties(kelm_${folder} PROPERTIES EXPORT_NAME ${folder}
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  target_include_directories(kelm_${folder} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:include>)
  foreach(dependency IN LISTS arg_DEPENDS)
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
