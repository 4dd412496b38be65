# One target a folder. A folder links only what it names, so an include that runs against the order
# of the floors fails at link time; tests/arrows.py looks at the includes themselves.
#
# The library NAME is the target flatlink-NAME here and flatlink::NAME for everyone, in this build,
# as a subproject and installed. The functions below take bare names.

set(house_warnings -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wformat=2 -Wnon-virtual-dtor -Wold-style-cast)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 takes the library's own operator+("text", std::string) for an overlapping copy.
  list(APPEND house_warnings -Wno-restrict)
endif()
set(house_sanitizers "")
if(FLATLINK_SANITIZE)
  list(APPEND house_sanitizers -fsanitize=address,undefined)
  set(house_sanitizer_flags -fno-sanitize-recover=all -fno-omit-frame-pointer)
endif()
if(FLATLINK_FUZZ)
  list(APPEND house_sanitizers -fsanitize=address,undefined)
  set(house_sanitizer_flags -fsanitize=fuzzer-no-link -fno-sanitize-recover=all)
endif()

# Flags are private to a target: they do not propagate to targets that link it.
function(house_options target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE
    ${house_warnings} ${house_sanitizers} ${house_sanitizer_flags})
  target_link_options(${target} PRIVATE ${house_sanitizers})
endfunction()

# house_link(TARGET SCOPE [LIBRARY...]): libraries of ours by their bare names, others as they are.
function(house_link target scope)
  foreach(library ${ARGN})
    if(TARGET flatlink::${library})
      set(library flatlink::${library})
    endif()
    target_link_libraries(${target} ${scope} ${library})
  endforeach()
endfunction()

# What a header declares is exported; everything else is in unnamed namespaces or static. Hidden is
# what a compiler makes of the language's own templates, which is no interface of ours.
function(shared_options target)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} VISIBILITY_INLINES_HIDDEN ON)
  target_link_options(${target} PRIVATE LINKER:-z,relro LINKER:-z,now
    LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/hidden.map)
  if(NOT house_sanitizers) # whose runtime is part of the program
    target_link_options(${target} PRIVATE LINKER:-z,defs)
  endif()
endfunction()

# house_library(NAME [lower libraries...]): every .cpp of the calling folder, subfolders included.
# Its headers are included by their path from the root, here and where they are installed.
function(house_library name)
  set(target flatlink-${name})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp)
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS *.h)
  if(FLATLINK_SHARED)
    add_library(${target} SHARED ${sources})
    shared_options(${target})
  else()
    add_library(${target} STATIC ${sources})
  endif()
  add_library(flatlink::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  target_sources(${target} PUBLIC
    FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${headers})
  house_options(${target})
  house_link(${target} PUBLIC ${ARGN})
  install_library(${name} ${ARGN})
endfunction()

# house_program(NAME [INSTALL] SOURCES file... [LINK library...])
function(house_program name)
  cmake_parse_arguments(PARSE_ARGV 1 program "INSTALL" "" "SOURCES;LINK")
  add_executable(${name} ${program_SOURCES})
  house_options(${name})
  house_link(${name} PRIVATE ${program_LINK})
  if(NOT FLATLINK_SANITIZE AND NOT FLATLINK_FUZZ)
    target_link_options(${name} PRIVATE LINKER:-z,relro LINKER:-z,now)
    if(fwall IN_LIST program_LINK AND NOT FLATLINK_SHARED)
      # A proxy forks for every connection. What each child must look up, copy or release is done
      # once instead: all symbols at the start, and the language's library as part of the program.
      target_link_options(${name} PRIVATE -static-libstdc++ -static-libgcc)
    endif()
  endif()
  if(program_INSTALL AND FLATLINK_INSTALL)
    install(TARGETS ${name} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endfunction()

# house_test(NAME [libraries...]): one GoogleTest program of every .cpp of the calling folder. What it
# tests is optimised as the build says; the tests themselves are run a few times only and are not,
# which halves the time of a build.
function(house_test name)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp)
  house_program(${name} SOURCES ${sources} LINK ${ARGN} GTest::gtest_main)
  target_compile_options(${name} PRIVATE -O0 -U_FORTIFY_SOURCE)
  target_precompile_headers(${name} REUSE_FROM test_headers)
  target_compile_definitions(${name} PRIVATE
    TEST_DATA_DIR="${PROJECT_SOURCE_DIR}/tests/data"
    SAMPLES_DIR="${PROJECT_SOURCE_DIR}/samples")
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()

# The headers that nearly every test includes, compiled once for all test programs.
function(house_test_headers)
  file(WRITE ${PROJECT_BINARY_DIR}/test_headers.cpp "")
  add_library(test_headers OBJECT ${PROJECT_BINARY_DIR}/test_headers.cpp)
  house_options(test_headers)
  target_link_libraries(test_headers PRIVATE GTest::gtest)
  target_compile_options(test_headers PRIVATE -O0 -U_FORTIFY_SOURCE)
  target_precompile_headers(test_headers PRIVATE
    <gtest/gtest.h> <algorithm> <fstream> <functional> <string> <vector>)
endfunction()
