# Debian packages, one per install component:
#   libvicinix1     the shared libraries
#   libvicinix-dev  headers, the CMake package, the pkg-config files, the .so links
#   vicinix-host    the host, its manual page and its systemd user unit
# Built from the `package` preset: cmake --preset package && cmake --build
# --preset package && cpack --preset package.
# The first packaging of each release: Debian revision 1.
set(VICINIX_DEB_RELEASE 1)
set(VICINIX_DEB_VERSION ${PROJECT_VERSION}-${VICINIX_DEB_RELEASE})
set(VICINIX_PACKAGE_MAINTAINER "Vicinix maintainers <maintainers@vicinix.dev>"
  CACHE STRING "Maintainer field of the Debian packages")

# Every package carries the licence and a changelog where Debian expects them.
set(VICINIX_DEB_DOCS ${PROJECT_BINARY_DIR}/deb-docs)
file(MAKE_DIRECTORY ${VICINIX_DEB_DOCS})
string(TIMESTAMP VICINIX_DEB_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component_package "runtime;libvicinix1" "development;libvicinix-dev" "host;vicinix-host")
  list(GET component_package 0 component)
  list(GET component_package 1 package)
  set(VICINIX_DEB_PACKAGE ${package})
  configure_file(${PROJECT_SOURCE_DIR}/packaging/changelog.Debian.in
    ${VICINIX_DEB_DOCS}/${package}/changelog.Debian @ONLY)
  # gzip -n: no name or time in the header, so the package is reproducible.
  execute_process(COMMAND gzip -9nf ${VICINIX_DEB_DOCS}/${package}/changelog.Debian
    COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright
    ${VICINIX_DEB_DOCS}/${package}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component}
    EXCLUDE_FROM_ALL)
  if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/${package}.lintian-overrides)
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/${package}.lintian-overrides
      DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
      COMPONENT ${component} EXCLUDE_FROM_ALL)
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vicinix)
set(CPACK_PACKAGE_VENDOR Vicinix)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${VICINIX_DEB_RELEASE})
set(CPACK_PACKAGE_CONTACT ${VICINIX_PACKAGE_MAINTAINER})
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development host)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvicinix1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# A shlibs file for the package that holds shared libraries, so packages built
# against them depend on it.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# Hosts built against 1.0.0 run on any later 1.x.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# dpkg's ldconfig trigger refreshes the linker cache (CPack's own maintainer
# scripts call ldconfig too, which is redundant but harmless).
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/libvicinix1/triggers)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "proximity marketing SDK for Linux hosts
Vicinix finds Bluetooth beacons, fetches the campaigns attached to them,
notifies the user and reports what was seen and opened.
.
This package holds the shared libraries: libvicinix (the SDK and its Linux
platform) and libvicinix-qt (the campaign screens for Qt6 Widgets hosts).")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvicinix-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
# The Qt screens' headers include Qt Widgets.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "qt6-base-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "proximity marketing SDK for Linux hosts - development files
Vicinix finds Bluetooth beacons, fetches the campaigns attached to them,
notifies the user and reports what was seen and opened.
.
This package holds the headers, the CMake package (find_package(Vicinix))
and the pkg-config files (vicinix, vicinix-qt).")

set(CPACK_DEBIAN_HOST_PACKAGE_NAME vicinix-host)
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION net)
set(CPACK_DEBIAN_HOST_DESCRIPTION "proximity marketing host for kiosks
vicinix-host runs the Vicinix SDK on its own: it scans for beacons, shows
campaigns and notifications, and can replay Bluetooth captures, render
campaign screens and inspect the SDK's stored state. A systemd user unit
runs it on a kiosk.")

include(CPack)
