# What is installed: both libraries, the public headers, vesk.pc and a CMake package.

include(CMakePackageConfigHelpers)

install(TARGETS vesk vesk_static EXPORT vesk-targets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vesk DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vesk)
install(EXPORT vesk-targets NAMESPACE vesk:: DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vesk-config-version.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/vesk-config.cmake
              ${PROJECT_BINARY_DIR}/vesk-config-version.cmake
        DESTINATION ${package_dir})

# The installed tree may be moved: vesk.pc finds everything from its own place.
file(RELATIVE_PATH VESK_PC_TO_PREFIX
     ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/vesk.pc.in ${PROJECT_BINARY_DIR}/vesk.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vesk.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
