# The man pages, rendered from docs/man/*.md.
find_program(LOWDOWN lowdown)
if(NOT LOWDOWN)
    message(STATUS "lowdown is missing: the man pages are neither built nor installed")
    return()
endif()

file(GLOB man_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.md)
set(man_directory ${PROJECT_BINARY_DIR}/man)
add_custom_command(OUTPUT ${man_directory}/stamp
    COMMAND ${PROJECT_SOURCE_DIR}/scripts/render_man ${PROJECT_VERSION} ${man_directory}
    COMMAND ${CMAKE_COMMAND} -E touch ${man_directory}/stamp
    DEPENDS ${man_sources} ${PROJECT_SOURCE_DIR}/scripts/render_man
    COMMENT "Rendering the man pages" VERBATIM)
add_custom_target(man ALL DEPENDS ${man_directory}/stamp)
install(DIRECTORY ${man_directory}/man1 ${man_directory}/man3 ${man_directory}/man5
    DESTINATION ${CMAKE_INSTALL_MANDIR})
