# Strict warnings shared by every target of the project.
add_library(korrin_warnings INTERFACE)
target_compile_options(korrin_warnings INTERFACE -Wall -Wextra -Wpedantic)
if(KORRIN_WERROR)
  target_compile_options(korrin_warnings INTERFACE -Werror)
endif()

# The library (src/) and what the project ships or runs on top of it (the
# host kit, the reference host and its checker, the web checker, the
# examples) are held to a longer list: shadowed names, implicit narrowing and
# sign changes, C casts, casts dropping const, a polymorphic class without a
# virtual destructor, a hidden overload, an undefined macro in #if, and
# non-literal format strings. Third-party headers (GoogleTest, CLI11,
# cpp-httplib, libcurl, cJSON) come from imported targets and are therefore
# system headers, outside these warnings.
add_library(korrin_strict_warnings INTERFACE)
target_link_libraries(korrin_strict_warnings INTERFACE korrin_warnings)
target_compile_options(korrin_strict_warnings INTERFACE
  -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wundef -Wcast-qual -Wformat=2)
