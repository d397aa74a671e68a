# Debian package of the program: vesk_VERSION_ARCH.deb with vesk (and vesk-cli),
# the boot service and its settings file, made by `cpack` in the build directory.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vesk)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "vesk developers <vesk@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "touch-screen diagnostic menu for embedded Linux")
set(CPACK_PACKAGE_DESCRIPTION
    "vesk turns a directory of test programs into nested touch menus, reads each\n test's arguments from its --help text, runs it and shows its output and exit code.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_STRIP_FILES ON)

# The package's architecture is the target's, not the build machine's.
if(CMAKE_LIBRARY_ARCHITECTURE MATCHES "^aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
elseif(CMAKE_LIBRARY_ARCHITECTURE MATCHES "^arm.*hf$")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
elseif(CMAKE_LIBRARY_ARCHITECTURE MATCHES "^x86_64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()

# The libraries come from dpkg-shlibdeps; the fonts are found at run time
# through fontconfig, so they are named here.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-dejavu-core, fonts-wqy-microhei, fontconfig")
# A cross build's libraries are in its sysroot (see cmake/toolchains/), which the
# build machine's dpkg knows nothing of: dpkg-shlibdeps is run through a wrapper,
# first on cpack's PATH, that gives it the target's architecture, the sysroot's
# library directories and the package database scripts/cross made there.
find_program(VESK_DPKG_SHLIBDEPS dpkg-shlibdeps)
if(CMAKE_CROSSCOMPILING AND CMAKE_SYSROOT AND CPACK_DEBIAN_PACKAGE_ARCHITECTURE AND VESK_DPKG_SHLIBDEPS)
  set(shlibdeps_dir ${PROJECT_BINARY_DIR}/packaging/cross-bin)
  file(WRITE ${shlibdeps_dir}/dpkg-shlibdeps
       "#!/bin/sh\nDEB_HOST_ARCH=${CPACK_DEBIAN_PACKAGE_ARCHITECTURE} exec ${VESK_DPKG_SHLIBDEPS} "
       "--admindir=${CMAKE_SYSROOT}/.vesk-dpkg -l${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE} \"$@\"\n")
  file(CHMOD ${shlibdeps_dir}/dpkg-shlibdeps PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
       GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  file(WRITE ${PROJECT_BINARY_DIR}/packaging/cpack_cross.cmake "set(ENV{PATH} \"${shlibdeps_dir}:\$ENV{PATH}\")\n")
  set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/packaging/cpack_cross.cmake)
endif()
# The default displays (drm, then fbdev) need nothing but the kernel. libSDL2 is
# loaded only when an SDL display is opened (see sdl_library.h), so dpkg-shlibdeps
# does not see it. The service tries sdl last, after drm and fbdev, and a missing
# SDL there only moves on (or names the package to install): it is recommended,
# as the Mesa EGL and DRI drivers (kms_swrast on boards without a GPU driver)
# that its KMSDRM driver needs, and a board installed without recommends is
# spared the sixty libraries behind it. 2.0.12 has every function vesk calls.
if(OZGI_WITH_SDL)
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libsdl2-2.0-0 (>= 2.0.12), libegl-mesa0, libgl1-mesa-dri, adb")
else()
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "adb")
endif()
# The VNC server's library is loaded only for --ozgi-vnc (see vnc_library.h), so
# dpkg-shlibdeps does not see it: the remote panel is recommended, not required.
if(OZGI_WITH_VNC)
  string(APPEND CPACK_DEBIAN_PACKAGE_RECOMMENDS ", libvncserver1 (>= 0.9.10)")
endif()
# /etc/default/vesk is the operator's to edit: an upgrade must keep it.
file(WRITE ${PROJECT_BINARY_DIR}/packaging/conffiles "/etc/default/vesk\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/packaging/conffiles)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# One package made of the program and the service; the framework is not in it.
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_COMPONENTS_ALL vesk service)
include(CPack)
