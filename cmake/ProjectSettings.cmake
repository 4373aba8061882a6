# project_settings: the one place for language level, warnings and instrumentation. Every target of ours links it.
add_library(project_settings INTERFACE)
target_include_directories(project_settings INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_features(project_settings INTERFACE cxx_std_17)
# Errors in our presets alone: a compiler that we have not seen must not keep a user from building.
option(NIMBREL_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
target_compile_options(project_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion $<$<BOOL:${NIMBREL_WARNINGS_AS_ERRORS}>:-Werror>)
# The core's virtual assignments are a part of its binary interface, and the implicit assignment of each class below
# hides them: GCC 13 and later report all of these. Functions that are hidden by mistake are reported by clang.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 13)
  target_compile_options(project_settings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-overloaded-virtual>)
endif()
# GCC 11 takes an assignment that a class names of its base (using Command::operator=) for one of its own.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 12)
  target_compile_options(project_settings INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wno-deprecated-copy>)
endif()
target_link_libraries(project_settings INTERFACE Threads::Threads)
# Media and logs of drives are longer than a 32-bit offset counts, and dates go past 2038. Debian's compilers for ARM do
# this by themselves; with 64 bits there is nothing else.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()
# A function that no program reaches is left out of it.
target_compile_options(project_settings INTERFACE $<$<CONFIG:Release>:-ffunction-sections;-fdata-sections>)
target_link_options(project_settings INTERFACE $<$<CONFIG:Release>:-Wl,--gc-sections>)
# Optimised as a whole (scripts/package): in one partition, in which the compiler finds what is equal.
if(CMAKE_INTERPROCEDURAL_OPTIMIZATION AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_link_options(project_settings INTERFACE -flto-partition=one)
endif()
# Objects end up in the tool and in a shared library alike.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# BOOST_* headers count as system headers: their warnings are not ours to mend.
if(NIMBREL_SANITIZE)
  string(REPLACE "," ";" sanitizers "${NIMBREL_SANITIZE}")
  foreach(sanitizer ${sanitizers})
    add_compile_options(-fsanitize=${sanitizer})
    add_link_options(-fsanitize=${sanitizer})
  endforeach()
  add_compile_options(-fno-omit-frame-pointer -fno-sanitize-recover=all)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized)  # false alarms of instrumented code, <regex> foremost (GCC bug 105562)
  endif()
endif()
# What a process counted is written when it exits: not when it ends with _exit or by a signal that it raises. Known to
# every build, for the linters.
add_library(coverage_at_end STATIC EXCLUDE_FROM_ALL "${CMAKE_CURRENT_LIST_DIR}/coverage_at_end.c")
if(NIMBREL_COVERAGE)
  # Atomic counters: several threads count, and a lost update can make a branch count negative.
  add_compile_options(--coverage -fprofile-update=atomic)
  add_link_options(--coverage)
  add_link_options(-Wl,--wrap=_exit -Wl,--wrap=raise -Wl,-u,__wrap__exit -Wl,-u,__wrap_raise)
  link_libraries(coverage_at_end)
endif()
if(NIMBREL_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "The fuzz targets need clang (use the preset fuzz): ${NIMBREL_SETUP_HINT}")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# Hardening. The linking is that of every build: position independent programs, all relocations done and read-only
# before main, no executable stack.
include(CheckPIESupported)
check_pie_supported(LANGUAGES C CXX)
target_link_options(project_settings INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
# The checks in the code are for what users get: _FORTIFY_SOURCE needs an optimised build, and instrumented ones have
# checks of their own.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug" AND NOT NIMBREL_SANITIZE AND NOT NIMBREL_COVERAGE)
  set(NIMBREL_HARDENED ON)
  include(CheckCXXCompilerFlag)
  # The last two are one thing on two processors; a compiler for another one refuses both, or warns that it takes no
  # notice of them.
  set(CMAKE_REQUIRED_FLAGS -Werror)
  foreach(flag -fstack-protector-strong -fcf-protection=full -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "NIMBREL_HAS${flag}" has)
    check_cxx_compiler_flag(${flag} ${has})
    if(${has})
      target_compile_options(project_settings INTERFACE ${flag})
    endif()
  endforeach()
  # Level 3 where compiler and C library know it: elsewhere they warn.
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
  check_cxx_source_compiles("#include <cstdio>\nint main() { return 0; }" NIMBREL_HAS_FORTIFY_3)
  unset(CMAKE_REQUIRED_FLAGS)
  target_compile_options(project_settings INTERFACE
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=$<IF:$<BOOL:${NIMBREL_HAS_FORTIFY_3}>,3,2>)
endif()

# link_for_start_up(TARGET): for what every command loads. The loader's time goes into the symbols that it looks up by
# name, and nearly all of them are those of the C++ library. A compiler may come without the static one, and sanitizers
# need the shared one. Relative relocations are packed where the linker knows how: a twentieth of the size.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_LINK_OPTIONS -static-libstdc++ -static-libgcc)
check_cxx_source_compiles("#include <iostream>\nint main() { std::cout << 1; }" NIMBREL_HAS_STATIC_CXX)
set(CMAKE_REQUIRED_LINK_OPTIONS -Wl,--fatal-warnings -Wl,-z,pack-relative-relocs)
check_cxx_source_compiles("int main() {}" NIMBREL_HAS_PACKED_RELOCATIONS)
unset(CMAKE_REQUIRED_LINK_OPTIONS)
function(link_for_start_up target)
  target_link_options(${target} PRIVATE -Wl,--as-needed)
  if(NIMBREL_HAS_STATIC_CXX AND NOT NIMBREL_SANITIZE)
    # Linkers for some processors export what a program only has in it: a feature library with the shared C++ library
    # would use the program's streams, and take their functions along when it is closed.
    target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc -Wl,--exclude-libs,ALL)
  endif()
  if(NIMBREL_HAS_PACKED_RELOCATIONS)
    target_link_options(${target} PRIVATE -Wl,-z,pack-relative-relocs)
  endif()
endfunction()

# project_library(NAME [OBJECT] SOURCES ... DEPENDS ...): a folder's target.
function(project_library name)
  cmake_parse_arguments(ARG "OBJECT" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  if(ARG_OBJECT)
    add_library(${name} OBJECT ${ARG_SOURCES})
  else()
    add_library(${name} STATIC ${ARG_SOURCES})
  endif()
  target_link_libraries(${name} PUBLIC project_settings ${ARG_DEPENDS} PRIVATE ${ARG_PRIVATE_DEPENDS})
endfunction()
