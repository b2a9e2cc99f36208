# Cross-build for the unit's 32-bit little-endian MIPS board; programs and
# tests run under qemu-user. OpenSSL comes from the sysroot that
# cmake/mipsel-sysroot.sh unpacks under build/.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)

set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)

get_filename_component(PDUD_MIPSEL_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/mipsel-sysroot" ABSOLUTE)
set(PDUD_MIPSEL_LIBDIR "${PDUD_MIPSEL_SYSROOT}/usr/lib/mipsel-linux-gnu")
# zlib, which cpp-httplib links, keeps its library in /lib.
set(PDUD_MIPSEL_LIBDIR2 "${PDUD_MIPSEL_SYSROOT}/lib/mipsel-linux-gnu")
set(PDUD_MIPSEL_RUNTIME /usr/mipsel-linux-gnu)

set(CMAKE_FIND_ROOT_PATH ${PDUD_MIPSEL_RUNTIME} ${PDUD_MIPSEL_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# OpenSSL keeps its configuration header in the multiarch include directory.
set(OPENSSL_ROOT_DIR "${PDUD_MIPSEL_SYSROOT}/usr")
set(OPENSSL_INCLUDE_DIR "${PDUD_MIPSEL_SYSROOT}/usr/include" CACHE PATH "")
set(OPENSSL_CRYPTO_LIBRARY "${PDUD_MIPSEL_LIBDIR}/libcrypto.so" CACHE FILEPATH "")
set(OPENSSL_SSL_LIBRARY "${PDUD_MIPSEL_LIBDIR}/libssl.so" CACHE FILEPATH "")
set(CMAKE_C_FLAGS_INIT "-isystem ${PDUD_MIPSEL_SYSROOT}/usr/include/mipsel-linux-gnu")
set(CMAKE_CXX_FLAGS_INIT "-isystem ${PDUD_MIPSEL_SYSROOT}/usr/include/mipsel-linux-gnu")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${PDUD_MIPSEL_LIBDIR}:${PDUD_MIPSEL_LIBDIR2}")

set(CMAKE_CROSSCOMPILING_EMULATOR
    qemu-mipsel -L ${PDUD_MIPSEL_RUNTIME} -E LD_LIBRARY_PATH=${PDUD_MIPSEL_LIBDIR}:${PDUD_MIPSEL_LIBDIR2})
