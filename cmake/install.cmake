# What `cmake --install` puts where, in three components: "console" (the programs and their manual),
# "dev" (the library for the other programs of the family) and "doc" (its API reference, where
# scripts/docs.sh has built it). Each becomes a Debian package.
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
install(PROGRAMS tools/zor DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT console)
install(DIRECTORY tools/completions/ COMPONENT console
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
# Wireshark and tshark look for plugins beside the libraries of the machine.
install(FILES tools/wireshark/zor.lua COMPONENT console
        DESTINATION lib/${CMAKE_LIBRARY_ARCHITECTURE}/wireshark/plugins)

# Manuals and changelogs lie compressed, without a name and a time inside that would make two builds
# differ.
function(zor_install_compressed file name folder component)
    set(compressed ${CMAKE_BINARY_DIR}/compressed/${component}/${name}.gz)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/compressed/${component})
    execute_process(COMMAND gzip -9nc ${file} OUTPUT_FILE ${compressed} COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    install(FILES ${compressed} DESTINATION ${folder} COMPONENT ${component})
endfunction()
file(GLOB manuals CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/man/*.1)
foreach(manual ${manuals})
    get_filename_component(name ${manual} NAME)
    zor_install_compressed(${manual} ${name} ${CMAKE_INSTALL_MANDIR}/man1 console)
endforeach()

# The pages for who uses the programs, and the pages for who writes some.
set(zor_doc ${CMAKE_INSTALL_DATADIR}/doc)
install(FILES cmake/debian/README.md docs/recipes.md docs/troubleshooting.md docs/security.md
              docs/protocol.md docs/dead-lock-detector.md
        DESTINATION ${zor_doc}/zor-console COMPONENT console)
install(FILES docs/library.md docs/architecture.md docs/checksummed-file.md docs/porting.md
        DESTINATION ${zor_doc}/libzor-dev COMPONENT dev)
install(DIRECTORY examples DESTINATION ${zor_doc}/libzor-dev COMPONENT dev)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/build/docs/html DESTINATION ${zor_doc}/libzor-doc
        COMPONENT doc OPTIONAL)

configure_file(cmake/debian/changelog.in ${CMAKE_BINARY_DIR}/debian-changelog @ONLY)
foreach(component console dev doc)
    set(package libzor-${component})
    if(component STREQUAL "console")
        set(package zor-console)
    endif()
    install(FILES cmake/debian/copyright DESTINATION ${zor_doc}/${package} COMPONENT ${component})
    zor_install_compressed(${CMAKE_BINARY_DIR}/debian-changelog changelog ${zor_doc}/${package}
                           ${component})
endforeach()

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
set(CPACK_DEBIAN_CONSOLE_DESCRIPTION
    "The console finds its server and never lets go of it. With it come zor for
operators (servers by name, line editing, logs, sessions), zor_ask for
scripts, the simulator zor_sim, and a dissector of the protocol for Wireshark.")
set(CPACK_DEBIAN_CONSOLE_PACKAGE_RECOMMENDS rlwrap)
set(CPACK_DEBIAN_CONSOLE_PACKAGE_SUGGESTS "tmux, wireshark | tshark, bash-completion")
set(CPACK_DEBIAN_DEV_DESCRIPTION
    "The library under the console, for the other programs of the family:
threads, locks that are searched for dead-locks, lists, strings, frames and
connections. Five example programs show it in use.")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS libzor-doc)
set(CPACK_DEBIAN_DOC_PACKAGE_NAME libzor-doc)
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOC_DESCRIPTION
    "The reference of the interfaces of libzor-dev, as pages for a browser.")
set(CPACK_STRIP_FILES ON)
# The permissions of folders don't depend on who builds.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
