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

# Papers: licences, and what is inside. The bill of materials is made where the names of what was linked can be had.
set(theDocDir "${CMAKE_INSTALL_DATADIR}/doc/quorix-decompression")
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/NOTICE" DESTINATION "${theDocDir}")
set(theMaterials linked $<TARGET_FILE:QuorixDecompLib>)
if(QUORIX_BUILD_TOOLS)
  list(APPEND theMaterials $<TARGET_FILE:quorix-decompress>)
endif()
if(QUORIX_PORTABLE)
  set(theMaterials pinned "${QUORIX_THIRD_PARTY_DIR}")
  install(DIRECTORY "${QUORIX_THIRD_PARTY_DIR}/licences" DESTINATION "${theDocDir}")
endif()
find_package(Python3 COMPONENTS Interpreter)
if(Python3_FOUND AND (QUORIX_PORTABLE OR NOT CMAKE_CROSSCOMPILING))
  set(theBill "${PROJECT_BINARY_DIR}/sbom.spdx.json")
  add_custom_command(OUTPUT "${theBill}"
    COMMAND Python3::Interpreter "${PROJECT_SOURCE_DIR}/scripts/sbom.py" ${PROJECT_VERSION} ${theMaterials} > "${theBill}"
    DEPENDS "${PROJECT_SOURCE_DIR}/scripts/sbom.py" "${PROJECT_SOURCE_DIR}/third-party/sources.txt" QuorixDecompLib
      $<TARGET_NAME_IF_EXISTS:quorix-decompress>
    VERBATIM)
  add_custom_target(quorix_sbom ALL DEPENDS "${theBill}")
  install(FILES "${theBill}" DESTINATION "${theDocDir}")
endif()
