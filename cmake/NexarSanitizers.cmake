# Sanitizers apply to every target of the build tree, so that the runtime and the tests that
# drive it are instrumented alike.
if(NEXAR_SANITIZE)
  string(REPLACE ";" "," _nexar_sanitizers "${NEXAR_SANITIZE}")
  add_compile_options(-fsanitize=${_nexar_sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${_nexar_sanitizers})
endif()

# Asio's handler queue fences with std::atomic_thread_fence beside its locks; GCC warns that
# ThreadSanitizer cannot follow a fence. The locks order what the fences also order, so the
# warning says nothing about our code, and it must not stop the build.
if(NEXAR_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-tsan)
endif()
