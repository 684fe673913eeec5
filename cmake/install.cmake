# Install rules for the library: headers, shared and static library, a
# pkg-config file and a CMake package. Components: "runtime" (the shared
# library), "development" (everything to build against it), "tool" (the
# veltrane command and its man page, see tools/CMakeLists.txt).
include(CMakePackageConfigHelpers)

set(VELTRANE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/veltrane)

set_target_properties(veltrane PROPERTIES EXPORT_NAME veltrane)
set_target_properties(veltrane_static PROPERTIES EXPORT_NAME veltrane_static)
install(TARGETS veltrane EXPORT veltraneTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
                NAMELINK_COMPONENT development)
install(TARGETS veltrane_static EXPORT veltraneTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY include/veltrane DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT development FILES_MATCHING PATTERN "*.h")

install(EXPORT veltraneTargets NAMESPACE veltrane:: DESTINATION ${VELTRANE_CMAKE_DIR}
        COMPONENT development)
configure_package_config_file(cmake/veltraneConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/veltraneConfig.cmake
                              INSTALL_DESTINATION ${VELTRANE_CMAKE_DIR})
# Releases before 1.0 may change the interface with every minor version.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/veltraneConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/veltraneConfig.cmake
              ${PROJECT_BINARY_DIR}/veltraneConfigVersion.cmake
        DESTINATION ${VELTRANE_CMAKE_DIR} COMPONENT development)

# veltrane.pc is written at install time, so that the prefix it names is the
# one installed to, also with "cmake --install --prefix".
foreach(dir LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
    set(VELTRANE_PC_${dir} "${CMAKE_INSTALL_${dir}}")
  else()
    set(VELTRANE_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
  endif()
endforeach()
set(VELTRANE_PC_PREFIX "@VELTRANE_PC_PREFIX@")  # filled in by the install step
configure_file(cmake/veltrane.pc.in ${PROJECT_BINARY_DIR}/veltrane.pc.in @ONLY)
install(CODE "
  set(VELTRANE_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${PROJECT_BINARY_DIR}/veltrane.pc.in\" \"${PROJECT_BINARY_DIR}/veltrane.pc\" @ONLY)
" COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/veltrane.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)
