# What every target of this project is compiled with. A project that adds this one as a
# subdirectory keeps its own output folders; languages and visibility are this project's business.

set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# Only what a public header marks leaves a library.
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Without extensions, headers hide what POSIX and Linux add to the standard.
add_compile_definitions(_GNU_SOURCE)

if(PROJECT_IS_TOP_LEVEL)
    set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
    set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
    set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
    if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
        set(CMAKE_BUILD_TYPE Release CACHE STRING "Kind of build" FORCE)
    endif()
endif()

# An installed program finds the libraries installed beside it, wherever the prefix ends up.
file(RELATIVE_PATH iocache_bin_to_lib /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/${iocache_bin_to_lib}")

if(IOCACHE_SANITIZE)
    add_compile_options(-fsanitize=${IOCACHE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${IOCACHE_SANITIZE})
    if(IOCACHE_SANITIZE MATCHES "undefined")
        # This check opens a pipe to find out whether memory can be read; where a test has used up all
        # descriptors on purpose, that fails and any object looks broken.
        add_compile_options(-fno-sanitize=vptr)
    endif()
endif()
if(IOCACHE_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()

# The warnings of this project. Every target calls it.
function(iocache_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    if(IOCACHE_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()
