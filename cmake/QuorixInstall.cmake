# cmake --install: library, headers, CMake package, pkg-config file, program. Everything is relative to
# the prefix, so that the installed tree can be moved.

include(CMakePackageConfigHelpers)

set(theConfigDir "${CMAKE_INSTALL_LIBDIR}/cmake/QuorixDecompLib")

install(TARGETS QuorixDecompLib
  EXPORT QuorixDecompLibTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")

# Headers in a folder named detail belong to the library alone; those of the Java layer come with it.
set(theJniHeaders "")
if(NOT QUORIX_WITH_JNI)
  set(theJniHeaders REGEX "/src/jni$" EXCLUDE)
endif()
install(DIRECTORY "${PROJECT_SOURCE_DIR}/src/"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/QuorixDecompLib"
  FILES_MATCHING PATTERN "*.h"
  PATTERN "detail" EXCLUDE
  ${theJniHeaders})

install(EXPORT QuorixDecompLibTargets
  NAMESPACE Quorix::
  DESTINATION "${theConfigDir}")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/QuorixDecompLibConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/QuorixDecompLibConfig.cmake"
  INSTALL_DESTINATION "${theConfigDir}")
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/QuorixDecompLibConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/QuorixDecompLibConfig.cmake"
  "${PROJECT_BINARY_DIR}/QuorixDecompLibConfigVersion.cmake"
  DESTINATION "${theConfigDir}")

file(RELATIVE_PATH thePrefixFromPkgConfig "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(
  "${PROJECT_SOURCE_DIR}/cmake/QuorixDecompLib.pc.in"
  "${PROJECT_BINARY_DIR}/QuorixDecompLib.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/QuorixDecompLib.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

if(QUORIX_BUILD_TOOLS AND TARGET quorix-decompress)
  file(RELATIVE_PATH theLibFromBin "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(quorix-decompress PROPERTIES INSTALL_RPATH "$ORIGIN/${theLibFromBin}")
  install(TARGETS quorix-decompress RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()
