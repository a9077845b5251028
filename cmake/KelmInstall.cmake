# Installs the libraries, their headers, the CMake package and the pkg-config files.
# A component is a folder of kelm/; "kelmcore" is all of them.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/KelmCore")
get_property(libraries GLOBAL PROPERTY KELM_LIBRARIES)

# The public headers: those with something that leaves the library, and what they include.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}" kelm/*.h)
set(queue "")
foreach(header IN LISTS headers)
  file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" exported REGEX "^[^/]*KELM_API" LIMIT_COUNT 1)
  if(exported)
    list(APPEND queue ${header})
  endif()
endforeach()
set(public_headers "")
while(queue)
  list(POP_FRONT queue header)
  if(NOT header IN_LIST public_headers AND EXISTS "${PROJECT_SOURCE_DIR}/${header}")
    list(APPEND public_headers ${header})
    file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" included REGEX "^#include \"kelm/")
    list(TRANSFORM included REPLACE "^#include \"([^\"]+)\".*" "\\1")
    list(APPEND queue ${included})
  endif()
endwhile()

add_library(kelmcore INTERFACE)
add_library(KelmCore::kelmcore ALIAS kelmcore)
target_link_libraries(kelmcore INTERFACE ${libraries})
target_sources(kelmcore INTERFACE FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}"
  FILES ${public_headers})

install(TARGETS kelmcore EXPORT KelmCoreTargets FILE_SET HEADERS)
install(TARGETS ${libraries} EXPORT KelmCoreTargets)
install(EXPORT KelmCoreTargets NAMESPACE KelmCore:: DESTINATION "${package_dir}")
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/KelmCoreConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/cmake/KelmCoreConfig.cmake" INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/cmake/KelmCoreConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/cmake/KelmCoreConfig.cmake"
  "${PROJECT_BINARY_DIR}/cmake/KelmCoreConfigVersion.cmake" DESTINATION "${package_dir}")

# The same package under its name in small letters.
file(WRITE "${PROJECT_BINARY_DIR}/cmake/kelmcore-config.cmake"
  "include(\"\${CMAKE_CURRENT_LIST_DIR}/../KelmCore/KelmCoreConfig.cmake\")\n")
install(FILES "${PROJECT_BINARY_DIR}/cmake/kelmcore-config.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/kelmcore")

# kelmcore-<component>.pc and kelmcore.pc serve the shared libraries, whose third-party libraries
# are their own business; a host of the static ones uses the CMake package.
function(kelm_pkg_config name requires libs)
  list(JOIN requires ", " requires)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/kelmcore.pc.in"
    "${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()

if(BUILD_SHARED_LIBS)
  file(RELATIVE_PATH prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" prefix "${prefix}")
  set(parts "")
  foreach(library IN LISTS libraries)
    string(REPLACE "kelm_" "" folder ${library})
    get_target_property(requires ${library} KELM_DEPENDS)
    list(TRANSFORM requires PREPEND "kelmcore-")
    kelm_pkg_config(kelmcore-${folder} "${requires}" "-l${library}")
    list(APPEND parts kelmcore-${folder})
  endforeach()
  kelm_pkg_config(kelmcore "${parts}" "")
endif()
