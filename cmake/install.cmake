# What `cmake --install` puts in place: libraries, headers, the command, man pages, and how other builds find them.
include(CMakePackageConfigHelpers)

set_target_properties(verd_inst_ldpath instcomm vestra zeld PROPERTIES INSTALL_RPATH "$ORIGIN")
set_target_properties(swprofile PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
install(TARGETS verd_inst_ldpath instcomm vestra zeld EXPORT verd_inst_ldpath)
install(TARGETS swprofile)
install(FILES
    platform/include/instcomm.h
    platform/include/vestra.h
    platform/include/zeld.h
    platform/include/zeld_fields.h
    system_pkg/install/inst_mgr/lib_verd_inst_ldpath/include/verd_inst_ldpath.h
    system_pkg/install/inst_mgr/lib_verd_inst_ldpath/include/verd_inst_ldpath_text.h
    TYPE INCLUDE)
include(cmake/man.cmake)

file(RELATIVE_PATH prefix_from_pkgconfig /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/verd_inst_ldpath.pc.in verd_inst_ldpath.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/verd_inst_ldpath.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/verd_inst_ldpath)
install(EXPORT verd_inst_ldpath FILE verd_inst_ldpath-config.cmake NAMESPACE verd:: DESTINATION ${package_directory})
write_basic_package_version_file(verd_inst_ldpath-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/verd_inst_ldpath-config-version.cmake DESTINATION ${package_directory})
