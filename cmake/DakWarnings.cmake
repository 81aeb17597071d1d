# Warnings are errors in every build of the project.
add_compile_options(
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow
  -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align -Wnull-dereference
  -Wformat=2 -Werror)
