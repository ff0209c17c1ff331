# One warning set for everything we compile; third-party headers come in as SYSTEM includes.
add_library(nexar_warnings INTERFACE)
target_compile_options(nexar_warnings INTERFACE
  # -Wnull-dereference is left out: GCC 12 reports false positives inside libstdc++ at -O2.
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align
  -Woverloaded-virtual -Wimplicit-fallthrough -Wformat=2)
if(NEXAR_WERROR)
  target_compile_options(nexar_warnings INTERFACE -Werror)
endif()
