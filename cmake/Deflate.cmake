# SPDX-License-Identifier: Apache-2.0
# libdeflate, shared or static, as the target deflate. Nobody's package of it for CMake can be counted on.
#
# DEFLATE_INCLUDE_DIR   folder of libdeflate.h
# DEFLATE_LIBRARY       the library
find_path(DEFLATE_INCLUDE_DIR libdeflate.h REQUIRED)
find_library(DEFLATE_LIBRARY NAMES deflate libdeflate deflatestatic libdeflatestatic REQUIRED)
add_library(deflate UNKNOWN IMPORTED)
set_target_properties(deflate PROPERTIES
    IMPORTED_LOCATION ${DEFLATE_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${DEFLATE_INCLUDE_DIR})
