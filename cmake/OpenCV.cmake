# SPDX-License-Identifier: Apache-2.0
# OpenCV 4, core and imgproc only, as the targets opencv_core and opencv_imgproc.
#
# A full OpenCV installation brings its CMake package. Debian ships that package only together with every module and
# their several hundred dependencies, while the headers and libraries of the two modules install alone: there they are
# found by name.
find_package(OpenCV 4 QUIET COMPONENTS core imgproc)
if(NOT TARGET opencv_imgproc)
    find_path(OPENCV_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4 REQUIRED)
    foreach(module core imgproc)
        find_library(OPENCV_${module}_LIBRARY opencv_${module} REQUIRED)
        add_library(opencv_${module} UNKNOWN IMPORTED)
        set_target_properties(opencv_${module} PROPERTIES
            IMPORTED_LOCATION ${OPENCV_${module}_LIBRARY}
            INTERFACE_INCLUDE_DIRECTORIES ${OPENCV_INCLUDE_DIR})
    endforeach()
    set_property(TARGET opencv_imgproc APPEND PROPERTY INTERFACE_LINK_LIBRARIES opencv_core)
endif()
