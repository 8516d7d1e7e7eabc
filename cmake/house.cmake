# What every target of this project is built with.
add_compile_options(-Wall -Wextra -Wshadow -Wconversion -Wformat=2)

# Otherwise CMake links libstdc++ to the libraries, too, although they are linked as C. The C++ compiler links it to the
# command and the tests by itself.
set(CMAKE_CXX_IMPLICIT_LINK_LIBRARIES "")

# Every source file below a directory; a new one is found by the next build.
function(find_sources result directory)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${directory}/*.cpp)
    set(${result} ${sources} PARENT_SCOPE)
endfunction()

# A shared library that needs no C++ runtime: C++ without exceptions, type information and guarded statics, linked as C
# so that anything of the runtime fails to link. It exports the symbols of a version script. Its exported functions stay
# interposable, also from within. The project's major version is the number of the soname.
function(add_runtime_free_library name exports)
    add_library(${name} SHARED ${ARGN})
    target_compile_options(${name} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
                                           -fvisibility=hidden -fsemantic-interposition)
    target_link_options(${name} PRIVATE -Wl,--no-undefined -Wl,--as-needed -Wl,--version-script=${exports})
    set_target_properties(${name} PROPERTIES LINKER_LANGUAGE C LINK_DEPENDS ${exports}
                          VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()
