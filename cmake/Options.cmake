# SPDX-License-Identifier: Apache-2.0
# Compiler options shared by everything we build, as one interface target: link to bivista_options.
#
# BIVISTA_WERROR     warnings are errors (on in the dev preset and in CI)
# BIVISTA_SANITIZE   list for -fsanitize=, e.g. "address,undefined" or "thread"
# BIVISTA_COVERAGE   gcov instrumentation

option(BIVISTA_WERROR "Treat warnings as errors" OFF)
option(BIVISTA_COVERAGE "Instrument for coverage" OFF)
set(BIVISTA_SANITIZE "" CACHE STRING "Sanitizers to build with, comma separated")

add_library(bivista_options INTERFACE)
target_compile_definitions(bivista_options INTERFACE
    QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_DEPRECATED_WARNINGS QT_DISABLE_DEPRECATED_BEFORE=0x050F00)

if(MSVC)
    target_compile_options(bivista_options INTERFACE /W4 /utf-8 /permissive-)
    if(BIVISTA_WERROR)
        target_compile_options(bivista_options INTERFACE /WX)
    endif()
else()
    # -Wconversion catches narrowing in pixel arithmetic; -Wsign-conversion is left out because Qt 5 containers
    # take signed sizes where the standard library takes unsigned ones, and the casts would drown the arithmetic.
    target_compile_options(bivista_options INTERFACE -Wall -Wextra -Wconversion -Wno-sign-conversion -Wshadow
        -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-qual -Wformat=2)
    if(BIVISTA_WERROR)
        target_compile_options(bivista_options INTERFACE -Werror)
    endif()
    if(BIVISTA_SANITIZE)
        target_compile_options(bivista_options INTERFACE -fsanitize=${BIVISTA_SANITIZE} -fno-omit-frame-pointer
            -fno-sanitize-recover=all)
        target_link_options(bivista_options INTERFACE -fsanitize=${BIVISTA_SANITIZE})
    endif()
    if(BIVISTA_FUZZ)
        # A number too large for an int is a defect too, which Clang checks only when asked.
        target_compile_options(bivista_options INTERFACE -fsanitize=fuzzer-no-link,float-cast-overflow)
        target_link_options(bivista_options INTERFACE -fsanitize=fuzzer-no-link)
    endif()
    if(BIVISTA_COVERAGE)
        # Several threads count at once.
        target_compile_options(bivista_options INTERFACE --coverage -fprofile-update=atomic -O0)
        target_link_options(bivista_options INTERFACE --coverage)
    endif()
endif()

# RUNPATH (not RPATH): a folder in LD_LIBRARY_PATH that holds another camera library must win over ours.
if(UNIX)
    set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
    set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib")
    add_link_options(-Wl,--enable-new-dtags)
    # Whoever links the program names the camera library, before the rooms that call it come: it is needed all the same.
    if(NOT APPLE)
        add_link_options(-Wl,--no-as-needed)
    endif()
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    # Without the first two it keeps nothing that is compiled with precompiled headers, which the tests are. With the others
    # each clone and work tree finds what another one has compiled, at the price of debug information that names that other
    # one's folder for what was the same there. A coverage report has to name this one's.
    set(ccache_settings CCACHE_SLOPPINESS=pch_defines,time_macros)
    if(NOT BIVISTA_COVERAGE)
        list(APPEND ccache_settings CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1)
    endif()
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env ${ccache_settings} ${CCACHE_PROGRAM})
endif()
