# Strict warnings shared by every target of the project.
add_library(korrin_warnings INTERFACE)
target_compile_options(korrin_warnings INTERFACE -Wall -Wextra -Wpedantic)
if(KORRIN_WERROR)
  target_compile_options(korrin_warnings INTERFACE -Werror)
endif()
