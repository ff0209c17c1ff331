# `cmake --install` lays out headers, libraries and a package config, so that a consumer does
#   find_package(nexar CONFIG REQUIRED)
#   target_link_libraries(app PRIVATE nexar::bindings)   # brings opax::core, opax::std, opax::cis
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(_nexar_targets opax_core opax_json nexar_runtime opax_std opax_cis nexar_bindings)
if(TARGET opax_rpc)
  list(APPEND _nexar_targets opax_rpc)
endif()
if(TARGET nexar_mocks)
  list(APPEND _nexar_targets nexar_mocks)
  set(_nexar_mock_headers)
else()
  # Mock headers left by an earlier build with NEXAR_MOCKS=ON are not part of this package.
  set(_nexar_mock_headers PATTERN "*_mock.h" EXCLUDE)
endif()
set_target_properties(nexar_runtime PROPERTIES EXPORT_NAME runtime)

# The installed libraries need one another (the bindings load opax-cis and opax-std, which load
# opax-core): each looks for the others beside itself, so that a prefix works wherever it is put,
# with no LD_LIBRARY_PATH. A consumer's own executables find them through the run path CMake gives
# them to the imported libraries' directory.
foreach(_target IN LISTS _nexar_targets)
  get_target_property(_type ${_target} TYPE)
  if(NOT _type STREQUAL "INTERFACE_LIBRARY")
    set_target_properties(${_target} PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
endforeach()
# The installed programs look in the prefix's library directory, by the same relative path.
file(RELATIVE_PATH _nexar_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
if(TARGET nexar-sim)
  set_target_properties(nexar-sim PROPERTIES INSTALL_RPATH "$ORIGIN/${_nexar_bin_to_lib}")
endif()

install(TARGETS ${_nexar_targets} EXPORT nexarTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Hand-written headers (the runtime and the templates) and the generated ones.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/opax/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/opax
  FILES_MATCHING PATTERN "*.h" PATTERN "*_test*" EXCLUDE PATTERN "testing" EXCLUDE PATTERN "messages" EXCLUDE)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/runtime/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/runtime
  FILES_MATCHING PATTERN "*.h" PATTERN "testing" EXCLUDE)
install(DIRECTORY ${NEXAR_GEN_DIR}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h"
  ${_nexar_mock_headers})

# Message catalogues, where MessageCatalog::DefaultDirectory looks for them.
install(DIRECTORY ${NEXAR_MESSAGES_DIR}/ DESTINATION ${CMAKE_INSTALL_DATADIR}/nexar/messages
  FILES_MATCHING PATTERN "*.msg")

install(EXPORT nexarTargets NAMESPACE nexar:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/nexar)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/nexarConfig.cmake.in
  ${PROJECT_BINARY_DIR}/nexarConfig.cmake INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/nexar)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/nexarConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/nexarConfig.cmake ${PROJECT_BINARY_DIR}/nexarConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/nexar)
