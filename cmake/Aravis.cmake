# SPDX-License-Identifier: Apache-2.0
# Aravis, which speaks to GenICam cameras, as the target aravis; ARAVIS_FOUND and ARAVIS_VERSION tell.
#
# Elsewhere it is the system's. For Windows it is a folder of static libraries, of the kind that
# packaging/windows/build-aravis makes; without that folder there is none:
#
# ARAVIS_FOLDER   the folder
set(ARAVIS_FOLDER "" CACHE PATH "Static libraries of Aravis, for the cross build")
set(ARAVIS_FOUND "")

find_package(PkgConfig QUIET)
if(NOT PKG_CONFIG_FOUND OR (CMAKE_CROSSCOMPILING AND NOT ARAVIS_FOLDER))
    # (Without a folder of its own pkg-config would answer with this machine's.)
    return()
endif()
if(NOT CMAKE_CROSSCOMPILING)
    pkg_check_modules(ARAVIS QUIET IMPORTED_TARGET GLOBAL aravis-0.8)
    if(ARAVIS_FOUND)
        add_library(aravis INTERFACE)
        target_link_libraries(aravis INTERFACE PkgConfig::ARAVIS)
    endif()
    return()
endif()

set(libdir $ENV{PKG_CONFIG_LIBDIR})
set(ENV{PKG_CONFIG_LIBDIR} ${ARAVIS_FOLDER}/lib/pkgconfig)
# It remembers an answer even if it was another folder's.
unset(__pkg_config_checked_ARAVIS CACHE)
pkg_check_modules(ARAVIS QUIET aravis-0.8)
set(ENV{PKG_CONFIG_LIBDIR} ${libdir})
if(ARAVIS_FOUND)
    add_library(aravis INTERFACE)
    target_include_directories(aravis SYSTEM INTERFACE ${ARAVIS_STATIC_INCLUDE_DIRS} ${ARAVIS_FOLDER}/include)
    target_compile_options(aravis INTERFACE ${ARAVIS_STATIC_CFLAGS_OTHER})
    # Else the headers say that the functions come from DLLs.
    foreach(library GLIB GOBJECT GIO GMODULE)
        target_compile_definitions(aravis INTERFACE ${library}_STATIC_COMPILATION)
    endforeach()
    target_compile_definitions(aravis INTERFACE LIBXML_STATIC PCRE2_STATIC)
    target_link_libraries(aravis INTERFACE ${ARAVIS_STATIC_LDFLAGS})
endif()
