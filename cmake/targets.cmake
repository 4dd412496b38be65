# One target a folder. A folder links only what it names here, so an include that
# runs against the order of the floors fails at link time.

add_library(house_flags INTERFACE)
target_include_directories(house_flags INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(house_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wformat=2 -Wnon-virtual-dtor -Wold-style-cast -Werror)
target_compile_definitions(house_flags INTERFACE _GNU_SOURCE)
if(FLATLINK_SANITIZE)
  target_compile_options(house_flags INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(house_flags INTERFACE -fsanitize=address,undefined)
endif()
if(FLATLINK_FUZZ)
  target_compile_options(house_flags INTERFACE -fsanitize=fuzzer-no-link,address,undefined)
  target_link_options(house_flags INTERFACE -fsanitize=address,undefined)
endif()

# house_library(NAME [lower libraries...]): every .cpp of the calling folder, subfolders included.
function(house_library name)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp)
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  add_library(${name} STATIC ${sources})
  target_link_libraries(${name} PUBLIC house_flags ${ARGN})
endfunction()

# house_test(NAME [libraries...]): one GoogleTest program of every .cpp of the calling folder.
function(house_test name)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE house_flags ${ARGN} GTest::gtest GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE
    TEST_DATA_DIR="${CMAKE_SOURCE_DIR}/tests/data"
    SAMPLES_DIR="${CMAKE_SOURCE_DIR}/samples")
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT 600)
endfunction()
