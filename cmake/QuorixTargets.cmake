# Compile options of our own code, and the helper that declares one room of the library.

add_library(quorix_options INTERFACE)
target_compile_options(quorix_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  # Colour conversion promises the same bits as the plain formula on every machine.
  -ffp-contract=off
  $<$<BOOL:${QUORIX_WARNINGS_AS_ERRORS}>:-Werror>)
target_include_directories(quorix_options INTERFACE "${PROJECT_SOURCE_DIR}/src")

if(NOT QUORIX_SANITIZE)
  # What a sanitizer weaves in hides from the compiler that a value fits.
  target_compile_options(quorix_options INTERFACE -Wconversion -Wsign-conversion)
endif()
if(QUORIX_SANITIZE)
  target_compile_options(quorix_options INTERFACE
    -fsanitize=${QUORIX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quorix_options INTERFACE -fsanitize=${QUORIX_SANITIZE})
endif()

# Hardening: what a file could still reach through an error of ours shall end in a crash, not in somebody else's code.
# Sanitizers look themselves, and the checks of the C library would hide from them.
if(NOT QUORIX_SANITIZE)
  target_compile_options(quorix_options INTERFACE -fstack-protector-strong
    # -U: distributions whose compilers set a lower level. The checks want an optimised build.
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
    target_compile_options(quorix_options INTERFACE -fcf-protection)
  elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    target_compile_options(quorix_options INTERFACE -mbranch-protection=standard)
  endif()
  target_link_options(quorix_options INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)
endif()

# What runs everywhere is the same wherever it was built.
if(QUORIX_PORTABLE)
  target_compile_options(quorix_options INTERFACE
    "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=." "-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build"
    "-ffile-prefix-map=${QUORIX_THIRD_PARTY_DIR}=./third-party")
endif()

# quorix_add_room(<name> <folder> [FOLDERS <more folders>...] [LINK <targets>...])
#
# One room is a static library of all .cpp files of its folders. The shared library is made of the
# rooms' objects; tests link the rooms directly, so that they reach what the library does not export.
function(quorix_add_room theName theFolder)
  cmake_parse_arguments(PARSE_ARGV 2 aRoom "" "" "FOLDERS;LINK")
  set(aSources "")
  foreach(aFolder IN LISTS theFolder aRoom_FOLDERS)
    file(GLOB aFiles CONFIGURE_DEPENDS "${aFolder}/*.cpp" "${aFolder}/*.h")
    list(APPEND aSources ${aFiles})
  endforeach()
  add_library(quorix_${theName} STATIC ${aSources})
  set_target_properties(quorix_${theName} PROPERTIES LINKER_LANGUAGE CXX)
  target_compile_definitions(quorix_${theName} PRIVATE QUORIX_BUILDING_LIBRARY)
  target_link_libraries(quorix_${theName} PUBLIC quorix_options ${aRoom_LINK})
  set_property(GLOBAL APPEND PROPERTY QUORIX_ROOMS quorix_${theName})
endfunction()
