# What `cmake --install` puts in place: libraries, headers, the command, man pages, and how other builds find them. The
# components: library, development, platform, platform-development, command, manual.
include(CMakePackageConfigHelpers)

set(library_directory system_pkg/install/inst_mgr/lib_verd_inst_ldpath)
set_target_properties(verd_inst_ldpath PROPERTIES INSTALL_RPATH "$ORIGIN" INSTALL_RPATH_USE_LINK_PATH ON)
install(TARGETS verd_inst_ldpath LIBRARY COMPONENT library NAMELINK_COMPONENT development)
install(FILES ${library_directory}/include/verd_inst_ldpath.h ${library_directory}/include/verd_inst_ldpath_text.h
    TYPE INCLUDE COMPONENT development)

if(SWP_PLATFORM STREQUAL "stand-ins")
    set_target_properties(instcomm vestra zeld PROPERTIES INSTALL_RPATH "$ORIGIN")
    install(TARGETS instcomm vestra zeld LIBRARY COMPONENT platform NAMELINK_COMPONENT platform-development)
    install(FILES platform/include/instcomm.h platform/include/vestra.h platform/include/zeld.h
                  platform/include/zeld_fields.h
        TYPE INCLUDE COMPONENT platform-development)
else()
    cmake_path(GET SWP_zeld_LIBRARY PARENT_PATH platform_library_directory)
    set(platform_include_directory ${SWP_zeld_INCLUDE_DIR})
    set(pc_platform_libs "-L${platform_library_directory} ")
    set(pc_platform_cflags " -I${platform_include_directory}")
endif()

if(SWP_COMMAND)
    if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
        set(command_rpath ${CMAKE_INSTALL_LIBDIR})
    else()
        file(RELATIVE_PATH command_rpath ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
        set(command_rpath "$ORIGIN/${command_rpath}")
    endif()
    set_target_properties(swprofile PROPERTIES INSTALL_RPATH ${command_rpath} INSTALL_RPATH_USE_LINK_PATH ON)
    install(TARGETS swprofile RUNTIME COMPONENT command)
endif()

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME manual)
include(cmake/man.cmake)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

# pkg-config: the prefix is relative to the .pc file unless CMAKE_INSTALL_LIBDIR is absolute; directories are relative
# to the prefix unless they are absolute.
set(pc_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    file(RELATIVE_PATH pc_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
    set(pc_prefix "\${pcfiledir}/${pc_prefix}")
endif()
foreach(directory LIBDIR INCLUDEDIR)
    set(pc_${directory} ${CMAKE_INSTALL_${directory}})
    if(NOT IS_ABSOLUTE ${pc_${directory}})
        set(pc_${directory} "\${prefix}/${pc_${directory}}")
    endif()
endforeach()
configure_file(cmake/verd_inst_ldpath.pc.in verd_inst_ldpath.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/verd_inst_ldpath.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# CMake: the package finds the platform's libraries, ours or installed ones.
set(package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/verd_inst_ldpath)
configure_package_config_file(cmake/verd_inst_ldpath-config.cmake.in verd_inst_ldpath-config.cmake
    INSTALL_DESTINATION ${package_directory} PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(verd_inst_ldpath-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/verd_inst_ldpath-config.cmake
              ${PROJECT_BINARY_DIR}/verd_inst_ldpath-config-version.cmake
    DESTINATION ${package_directory})
