# QUORIX_PORTABLE: library and program that want nothing of a machine but its C library. The libraries of
# scripts/third-party stand in for the packages that the build asks for elsewhere by find_package.

set(QUORIX_THIRD_PARTY_DIR "${PROJECT_SOURCE_DIR}/build/third-party/${CMAKE_SYSTEM_PROCESSOR}" CACHE PATH
  "Folder of scripts/third-party")
if(NOT EXISTS "${QUORIX_THIRD_PARTY_DIR}/.stamp")
  message(FATAL_ERROR "No libraries in ${QUORIX_THIRD_PARTY_DIR}: run scripts/third-party ${CMAKE_SYSTEM_PROCESSOR}")
endif()
# For what is looked for by find_library and find_path.
list(PREPEND CMAKE_PREFIX_PATH "${QUORIX_THIRD_PARTY_DIR}")
list(APPEND CMAKE_FIND_ROOT_PATH "${QUORIX_THIRD_PARTY_DIR}")

# quorix_third_party(<package> <target> [<library> [<linked targets>...]])
# Makes the target, without a library one of headers alone, and has find_package(<package>) content with it.
function(quorix_third_party thePackage theTarget)
  set(aFile "")
  if(ARGC GREATER 2)
    list(POP_FRONT ARGN aFile)
  endif()
  if(aFile)
    add_library(${theTarget} STATIC IMPORTED GLOBAL)
    set_target_properties(${theTarget} PROPERTIES
      IMPORTED_LOCATION "${QUORIX_THIRD_PARTY_DIR}/lib/${aFile}"
      INTERFACE_LINK_LIBRARIES "${ARGN}")
  else()
    add_library(${theTarget} INTERFACE IMPORTED GLOBAL)
  endif()
  target_include_directories(${theTarget} SYSTEM INTERFACE "${QUORIX_THIRD_PARTY_DIR}/include")
  if(thePackage)
    file(WRITE "${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/${thePackage}Config.cmake" "")
  endif()
endfunction()

find_package(Threads REQUIRED)
quorix_third_party(ZLIB ZLIB::ZLIB libz.a)
quorix_third_party("" DCMTK::ofstd libofstd.a Threads::Threads)
quorix_third_party("" DCMTK::oflog liboflog.a DCMTK::ofstd)
quorix_third_party(DCMTK DCMTK::dcmdata libdcmdata.a DCMTK::oflog DCMTK::ofstd ZLIB::ZLIB)
quorix_third_party("" PkgConfig::HWY libhwy.a)
quorix_third_party(JPEG JPEG::JPEG libjpeg.a)
quorix_third_party(PNG PNG::PNG libpng16.a ZLIB::ZLIB m)
quorix_third_party(OpenSSL OpenSSL::Crypto libcrypto.a Threads::Threads)
quorix_third_party(charls charls libcharls.a)
quorix_third_party(CLI11 CLI11::CLI11)
quorix_third_party(nlohmann_json nlohmann_json::nlohmann_json)

# quorix_self_contained(<target>)
# Links the C++ runtime into a library or program as well, and the C library in its older version. Names stay inside:
# a process that has one of these libraries itself keeps its own.
function(quorix_self_contained theTarget)
  target_link_options(${theTarget} PRIVATE -static-libstdc++ -static-libgcc "-L${QUORIX_THIRD_PARTY_DIR}/glibc"
    LINKER:--exclude-libs,ALL)
  get_target_property(aType ${theTarget} TYPE)
  if(aType STREQUAL "EXECUTABLE")
    target_link_options(${theTarget} PRIVATE LINKER:--wrap=__libc_start_main)
  else()
    # Exceptions go from a library to its program.
    target_sources(${theTarget} PRIVATE "${PROJECT_SOURCE_DIR}/third-party/runtime/SharedUnwinder.cpp")
    foreach(anEntry IN ITEMS DeleteException GetDataRelBase GetIPInfo GetLanguageSpecificData GetRegionStart
        GetTextRelBase RaiseException Resume Resume_or_Rethrow SetGR SetIP)
      target_link_options(${theTarget} PRIVATE LINKER:--wrap=_Unwind_${anEntry})
    endforeach()
  endif()
endfunction()
