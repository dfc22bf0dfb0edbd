# What the library links. Everything comes from Debian packages, see scripts/packages.txt,
# or, for what runs everywhere, out of sources that are pinned (QuorixPortable.cmake).

if(QUORIX_PORTABLE)
  include(QuorixPortable)
endif()
find_package(DCMTK REQUIRED)
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
if(NOT QUORIX_PORTABLE)
  pkg_check_modules(HWY REQUIRED IMPORTED_TARGET libhwy)
endif()

# The three IJG builds (8-, 12- and 16-bit samples, prefixed entry points) of libgdcm-dev. GDCM's own
# package file would bring in all of GDCM; only these three libraries are wanted.
find_path(QUORIX_IJG_INCLUDE_DIR gdcmjpeg/8/jpeglib.h PATH_SUFFIXES gdcm-3.0 REQUIRED)
foreach(aPrecision 8 12 16)
  find_library(QUORIX_IJG${aPrecision}_LIBRARY gdcmjpeg${aPrecision} REQUIRED)
  add_library(Quorix::IJG${aPrecision} UNKNOWN IMPORTED)
  set_target_properties(Quorix::IJG${aPrecision} PROPERTIES
    IMPORTED_LOCATION "${QUORIX_IJG${aPrecision}_LIBRARY}"
    INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${QUORIX_IJG_INCLUDE_DIR}"
    INTERFACE_INCLUDE_DIRECTORIES "${QUORIX_IJG_INCLUDE_DIR}")
endforeach()

# libjpeg-turbo, for the DCT images that it decodes as the 8-bit IJG build does.
find_package(JPEG REQUIRED)

# JPEG-LS.
if(QUORIX_WITH_CHARLS)
  find_package(charls REQUIRED CONFIG)
endif()

# Deflated image frames.
find_package(ZLIB REQUIRED)

# Java: the headers of JNI alone, as whoever loads the library brings the virtual machine. Where the Java side
# is built its compiler says where they are: Debian's layout is only found from where javac really is.
if(QUORIX_BUILD_JAVA)
  find_package(Java 17 REQUIRED COMPONENTS Development)
  if(NOT DEFINED JAVA_HOME AND NOT DEFINED ENV{JAVA_HOME})
    file(REAL_PATH "${Java_JAVAC_EXECUTABLE}" theJavac)
    cmake_path(GET theJavac PARENT_PATH theJavaBin)
    cmake_path(GET theJavaBin PARENT_PATH JAVA_HOME)
  endif()
endif()
if(QUORIX_WITH_JNI)
  find_package(JNI QUIET COMPONENTS JVM)
  if(NOT JAVA_INCLUDE_PATH OR NOT JAVA_INCLUDE_PATH2)
    message(FATAL_ERROR "jni.h was not found: set JAVA_HOME, or do without the natives of Java (-DQUORIX_WITH_JNI=OFF)")
  endif()
  add_library(Quorix::JNI INTERFACE IMPORTED)
  target_include_directories(Quorix::JNI INTERFACE "${JAVA_INCLUDE_PATH}" "${JAVA_INCLUDE_PATH2}")
endif()
