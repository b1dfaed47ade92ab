# What `cmake --install` puts where, in two components: "console" (the programs and their manual)
# and "dev" (the library for the other programs of the family).
include(CMakePackageConfigHelpers)

install(TARGETS zor EXPORT zorTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
foreach(room norba util serv_cli)
    install(DIRECTORY ${room} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zor COMPONENT dev
            FILES_MATCHING PATTERN "*.h")
endforeach()

set(zor_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zor)
install(EXPORT zorTargets NAMESPACE zor:: DESTINATION ${zor_cmake_dir} COMPONENT dev)
configure_package_config_file(cmake/zorConfig.cmake.in ${CMAKE_BINARY_DIR}/zorConfig.cmake
                              INSTALL_DESTINATION ${zor_cmake_dir})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zorConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zorConfig.cmake ${CMAKE_BINARY_DIR}/zorConfigVersion.cmake
        DESTINATION ${zor_cmake_dir} COMPONENT dev)

# The prefix is found from the file's own place, so that an installed tree may be moved.
file(RELATIVE_PATH zor_prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/zor.pc.in ${CMAKE_BINARY_DIR}/zor.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zor.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT dev)

foreach(program zor_console zor_sim zor_ask)
    if(TARGET ${program})
        install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT console)
    endif()
endforeach()
install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libzor-dev/examples COMPONENT dev)
install(PROGRAMS tools/zor DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT console)
install(DIRECTORY tools/completions/ COMPONENT console
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(DIRECTORY docs/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT console
        FILES_MATCHING PATTERN "*.1")
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT console)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT console
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN man EXCLUDE)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "zor-console maintainers <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_CONSOLE_PACKAGE_NAME zor-console)
set(CPACK_DEBIAN_CONSOLE_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_CONSOLE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzor-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_CONSOLE_DESCRIPTION
    "Maintenance console of the telephony server main_zor, and its simulator zor_sim.")
set(CPACK_COMPONENT_DEV_DESCRIPTION
    "The utility library under the console, for the other programs of the server family.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
