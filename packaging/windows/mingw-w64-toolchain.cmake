# SPDX-License-Identifier: Apache-2.0
# From Debian to 64-bit Windows, by MinGW-w64 with POSIX threads. Lies in the SDK's folder, beside qt5 and opencv.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# Libraries, headers and packages are the target's; programs that run during the build are this machine's.
set(CMAKE_PREFIX_PATH ${CMAKE_CURRENT_LIST_DIR}/qt5 ${CMAKE_CURRENT_LIST_DIR}/opencv)
set(CMAKE_FIND_ROOT_PATH ${CMAKE_PREFIX_PATH} /usr/x86_64-w64-mingw32)
foreach(kind LIBRARY INCLUDE PACKAGE)
    set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
