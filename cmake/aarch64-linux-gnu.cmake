# Cross-building for arm64 with Debian's cross toolchain (g++-aarch64-linux-gnu)
# against an arm64 Debian root (scripts/roots/arm64.sh), passed as KYR_ARM64_ROOT.
# Qt's build tools come from the host's own Qt of the same version; the tests
# CTest runs go through qemu-user with the root as its library prefix.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

if(NOT KYR_ARM64_ROOT)
    message(FATAL_ERROR "KYR_ARM64_ROOT must name the arm64 root (make test-arm64 makes it)")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KYR_ARM64_ROOT)
set(CMAKE_SYSROOT ${KYR_ARM64_ROOT})
set(CMAKE_FIND_ROOT_PATH ${KYR_ARM64_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static -L ${KYR_ARM64_ROOT})
set(QT_HOST_PATH /usr)

# pkg-config reads the root's .pc files only, and prefixes their paths with it.
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${KYR_ARM64_ROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    "${KYR_ARM64_ROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${KYR_ARM64_ROOT}/usr/share/pkgconfig")

# The interpreter CMake runs is the host's; the module's headers are the root's.
file(READ_SYMLINK ${KYR_ARM64_ROOT}/usr/bin/python3 KYR_ARM64_PYTHON)
set(Python3_INCLUDE_DIR ${KYR_ARM64_ROOT}/usr/include/${KYR_ARM64_PYTHON} CACHE PATH "The arm64 root's Python headers")
