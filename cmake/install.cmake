# Installation and Debian packages.
#
# `cmake --install` puts the program in bin/ (the framework's part is
# framework/install.cmake). `cpack` makes vesk_VERSION_ARCH.deb with the program
# and its boot service.
include(GNUInstallDirs)

install(TARGETS vesk RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT vesk)
# `vesk_package` builds just what the package holds, for a build that skips the
# rest (CMAKE_SKIP_INSTALL_ALL_DEPENDENCY): the programs and the browser page.
add_custom_target(vesk_package)
add_dependencies(vesk_package vesk)
if(TARGET vesk-cli)
  install(TARGETS vesk-cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT vesk)
  add_dependencies(vesk_package vesk-cli)
endif()
if(TARGET vesk_web)
  add_dependencies(vesk_package vesk_web)
endif()

# The boot service goes only into the package: a plain `cmake --install` must
# not write to /etc.
install(FILES ${PROJECT_SOURCE_DIR}/packaging/vesk.service DESTINATION lib/systemd/system
        COMPONENT service EXCLUDE_FROM_ALL)
install(PROGRAMS ${PROJECT_SOURCE_DIR}/packaging/stopped DESTINATION libexec/vesk
        COMPONENT service EXCLUDE_FROM_ALL)
# The service's displays: those this build has, SDL last (it needs Mesa).
set(VESK_SERVICE_VIDEO fbdev)
if(OZGI_WITH_DRM)
  set(VESK_SERVICE_VIDEO drm,${VESK_SERVICE_VIDEO})
endif()
if(OZGI_WITH_SDL)
  set(VESK_SERVICE_VIDEO ${VESK_SERVICE_VIDEO},sdl)
endif()
configure_file(${PROJECT_SOURCE_DIR}/packaging/vesk.default.in ${PROJECT_BINARY_DIR}/packaging/vesk.default @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/vesk.default DESTINATION /etc/default RENAME vesk
        COMPONENT service EXCLUDE_FROM_ALL)

# --- Debian package -----------------------------------------------------------
include(${CMAKE_CURRENT_LIST_DIR}/package.cmake)
