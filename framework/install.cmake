# The framework as a library of its own (component "ozgi"): libozgi (static,
# and shared too when BUILD_SHARED_LIBS is on), its headers under include/ozgi/,
# ozgi.pc and the CMake package that gives ozgi::ozgi. `cmake --install` installs
# it with -DOZGI_INSTALL_FRAMEWORK=ON; without it, `cmake --install BUILD
# --component ozgi` still does on request. Included at the end of
# framework/CMakeLists.txt, whose layers and dependency target it uses.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

option(OZGI_INSTALL_FRAMEWORK "Install the ozgi framework (library, headers, ozgi.pc, CMake package)" OFF)

# The installed library is made of the same objects as the `ozgi` the program
# links, but its targets carry only what an installed copy can offer (headers
# under include/, dependencies found again by the consumer).
set(OZGI_PC_REQUIRES freetype2 fontconfig libpng pugixml)
# Neither libvncserver nor libSDL2 is among them: the VNC server and the SDL
# display load them at run time (dlopen).
list(JOIN OZGI_PC_REQUIRES " " OZGI_PC_REQUIRES_TEXT)

if(OZGI_INSTALL_FRAMEWORK)
  set(ozgi_install_all "")
else()
  set(ozgi_install_all EXCLUDE_FROM_ALL)
endif()
# The install test needs the library built even when it is not installed by default.
if(NOT OZGI_INSTALL_FRAMEWORK AND DEFINED BUILD_TESTING AND NOT BUILD_TESTING)
  set(ozgi_build_all EXCLUDE_FROM_ALL)
endif()

if(BUILD_SHARED_LIBS)
  foreach(layer IN LISTS OZGI_LAYERS)
    set_property(TARGET ozgi_${layer} PROPERTY POSITION_INDEPENDENT_CODE ON)
  endforeach()
endif()

# ozgi_export_static: libozgi.a; ozgi_export_shared: libozgi.so.VERSION.
set(ozgi_export_targets ozgi_export_static)
if(BUILD_SHARED_LIBS)
  list(APPEND ozgi_export_targets ozgi_export_shared)
endif()
foreach(target IN LISTS ozgi_export_targets)
  if(target STREQUAL ozgi_export_static)
    add_library(${target} STATIC ${ozgi_build_all})
    set(dep_scope PUBLIC)
  else()
    add_library(${target} SHARED ${ozgi_build_all})
    set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    # The headers need none of the dependencies: users of the shared library
    # don't link them themselves.
    set(dep_scope PRIVATE)
  endif()
  foreach(layer IN LISTS OZGI_LAYERS)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:ozgi_${layer}>)
  endforeach()
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${target} ${dep_scope} $<BUILD_INTERFACE:PkgConfig::OZGI_DEPS>
                        $<INSTALL_INTERFACE:PkgConfig::ozgi_deps> Threads::Threads ${CMAKE_DL_LIBS})
  set_target_properties(${target} PROPERTIES OUTPUT_NAME ozgi
                        ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/ozgi-export
                        LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/ozgi-export)
endforeach()
# ozgi::ozgi is the shared library when there is one, else the static one.
if(BUILD_SHARED_LIBS)
  set_target_properties(ozgi_export_shared PROPERTIES EXPORT_NAME ozgi)
  set_target_properties(ozgi_export_static PROPERTIES EXPORT_NAME ozgi_static)
else()
  set_target_properties(ozgi_export_static PROPERTIES EXPORT_NAME ozgi)
endif()

set(OZGI_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ozgi)
install(TARGETS ${ozgi_export_targets} EXPORT ozgiTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ozgi ${ozgi_install_all}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ozgi ${ozgi_install_all}
                NAMELINK_COMPONENT ozgi)
install(DIRECTORY ${CMAKE_CURRENT_LIST_DIR}/include/ozgi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT ozgi ${ozgi_install_all} FILES_MATCHING PATTERN "*.h")
install(EXPORT ozgiTargets NAMESPACE ozgi:: DESTINATION ${OZGI_CMAKE_DIR}
        COMPONENT ozgi ${ozgi_install_all})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ozgiConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/ozgi-export/ozgiConfig.cmake
                              INSTALL_DESTINATION ${OZGI_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ozgi-export/ozgiConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ozgi-export/ozgiConfig.cmake
              ${PROJECT_BINARY_DIR}/ozgi-export/ozgiConfigVersion.cmake
        DESTINATION ${OZGI_CMAKE_DIR} COMPONENT ozgi ${ozgi_install_all})

# ozgi.pc finds its prefix from where it lies, so an installed tree can move.
file(RELATIVE_PATH OZGI_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" OZGI_PC_TO_PREFIX "${OZGI_PC_TO_PREFIX}")
set(OZGI_PC_DL "")
foreach(lib IN LISTS CMAKE_DL_LIBS)
  string(APPEND OZGI_PC_DL " -l${lib}")
endforeach()
string(STRIP "${OZGI_PC_DL}" OZGI_PC_DL)
configure_file(${CMAKE_CURRENT_LIST_DIR}/ozgi.pc.in ${PROJECT_BINARY_DIR}/ozgi-export/ozgi.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ozgi-export/ozgi.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT ozgi ${ozgi_install_all})

