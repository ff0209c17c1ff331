# Sanitizers apply to every target of the build tree, so that the runtime and the tests that
# drive it are instrumented alike.
if(NEXAR_SANITIZE)
  string(REPLACE ";" "," _nexar_sanitizers "${NEXAR_SANITIZE}")
  add_compile_options(-fsanitize=${_nexar_sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${_nexar_sanitizers})
endif()
