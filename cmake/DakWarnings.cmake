# The project's warnings. They are errors in the project's own builds
# (DAK_WERROR, set by every preset and CI); a packager's build with a newer
# compiler is not stopped by a new warning.
option(DAK_WERROR "Treat compiler warnings as errors" OFF)
add_compile_options(
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow
  -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wnull-dereference
  -Wformat=2)
if(DAK_WERROR)
  add_compile_options(-Werror)
endif()
