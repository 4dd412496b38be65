# The target flatlink::curses, if this machine has curses. Read by the build and by the installed
# package, so that no path of the one gets into the other.
find_package(Curses QUIET)
if(CURSES_FOUND AND NOT TARGET flatlink::curses)
  # The curses package brings a form library of its own, which nothing here calls.
  list(FILTER CURSES_LIBRARIES EXCLUDE REGEX "/libform\\.")
  add_library(flatlink::curses INTERFACE IMPORTED GLOBAL)
  target_link_libraries(flatlink::curses INTERFACE ${CURSES_LIBRARIES})
  target_include_directories(flatlink::curses SYSTEM INTERFACE ${CURSES_INCLUDE_DIRS})
endif()
