# Install rules, the pkg-config file and the CMake package.
file(GLOB public_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/*.h)
file(GLOB platform_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/platform/include/*.h)
install(FILES ${public_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orva_comm)
install(FILES ${platform_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orva_comm/platform)

install(TARGETS orva_comm orva_platform_headers EXPORT orva_comm_targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(TARGET host_miro)
  # A process brings a platform: the host platform is installed as a component of the same package.
  install(TARGETS host_miro host_tova host_drv_basic host_safeio orva_host_platform EXPORT orva_comm_targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT host)
endif()
if(TARGET orva_comm_testing)
  file(GLOB testing_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/testing/*.h)
  install(FILES ${testing_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orva_comm/testing)
  install(TARGETS orva_comm_testing EXPORT orva_comm_targets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
install(EXPORT orva_comm_targets NAMESPACE orva_comm:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orva_comm)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/orva_comm-config.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/orva_comm-config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orva_comm)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/orva_comm-config-version.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/orva_comm-config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/orva_comm-config-version.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orva_comm)

set(pkgconfig_files orva_comm)
if(TARGET host_miro)
  list(APPEND pkgconfig_files orva_host_platform)
endif()
if(TARGET orva_comm_testing)
  list(APPEND pkgconfig_files orva_comm_testing)
endif()
# They find the prefix from where they are, so that an installed tree can be moved.
file(RELATIVE_PATH orva_pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" orva_pc_to_prefix ${orva_pc_to_prefix})
foreach(name IN LISTS pkgconfig_files)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
