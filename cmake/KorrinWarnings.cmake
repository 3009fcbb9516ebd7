# Strict warnings shared by every target of the project.
add_library(korrin_warnings INTERFACE)
target_compile_options(korrin_warnings INTERFACE -Wall -Wextra -Wpedantic)
if(KORRIN_WERROR)
  target_compile_options(korrin_warnings INTERFACE -Werror)
endif()

# The library's own sources (src/) are held to a longer list: shadowed names,
# implicit narrowing and sign changes, C casts, casts dropping const, a
# polymorphic class without a virtual destructor, a hidden overload, an
# undefined macro in #if, and non-literal format strings.
add_library(korrin_library_warnings INTERFACE)
target_compile_options(korrin_library_warnings INTERFACE
  -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wundef -Wcast-qual -Wformat=2)
