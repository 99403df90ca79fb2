# Installation: the library, its headers, the command, the documents, and what pkg-config and find_package need.

include(CMakePackageConfigHelpers)

install(TARGETS kelvcpx EXPORT kelvcpx-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/kelvcpx.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kelvcpx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h")
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING
    PATTERN "*.md" PATTERN "*.c" PATTERN "*.h")

if(KELVCPX_BUILD_APPS)
    # The installed command finds the library beside it, wherever both are moved to.
    file(RELATIVE_PATH kelvcpx_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(kelvcpx_command PROPERTIES INSTALL_RPATH "$ORIGIN/${kelvcpx_bin_to_lib}")
    install(TARGETS kelvcpx_command RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# find_package(kelvcpx 5.1 CONFIG) gives the target kelvcpx::kelvcpx.
set(kelvcpx_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kelvcpx)
install(EXPORT kelvcpx-targets NAMESPACE kelvcpx:: FILE kelvcpx-config.cmake DESTINATION ${kelvcpx_cmake_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kelvcpx-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kelvcpx-config-version.cmake DESTINATION ${kelvcpx_cmake_dir})

# pkg-config finds everything from the place of its own file, but for folders that are given as absolute paths.
set(kelvcpx_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH kelvcpx_pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
set(kelvcpx_pc_libdir "\${prefix}")
cmake_path(APPEND kelvcpx_pc_libdir ${CMAKE_INSTALL_LIBDIR})
set(kelvcpx_pc_includedir "\${prefix}")
cmake_path(APPEND kelvcpx_pc_includedir ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(${CMAKE_CURRENT_LIST_DIR}/kelvcpx.pc.in ${PROJECT_BINARY_DIR}/kelvcpx.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kelvcpx.pc DESTINATION ${kelvcpx_pkgconfig_dir})
