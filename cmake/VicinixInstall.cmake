# What `cmake --install` puts where, split into the components the Debian
# packages are made of: runtime (libvicinix1), development (libvicinix-dev)
# and host (vicinix-host).
include(CMakePackageConfigHelpers)

set(VICINIX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Vicinix)
set(VICINIX_LIBRARIES vicinix)
if(TARGET vicinix_qt)
  list(APPEND VICINIX_LIBRARIES vicinix_qt)
endif()

install(TARGETS ${VICINIX_LIBRARIES} EXPORT VicinixTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
    NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(VICINIX_QT_RESOURCE_TARGETS)
  install(TARGETS ${VICINIX_QT_RESOURCE_TARGETS} EXPORT VicinixTargets
    OBJECTS DESTINATION ${CMAKE_INSTALL_LIBDIR}/vicinix COMPONENT development)
endif()

set(VICINIX_HEADER_EXCLUDES)
if(NOT TARGET vicinix_qt)
  set(VICINIX_HEADER_EXCLUDES PATTERN qt EXCLUDE)
endif()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/vicinix
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  FILES_MATCHING PATTERN "*.h" ${VICINIX_HEADER_EXCLUDES})
install(FILES ${PROJECT_BINARY_DIR}/include/vicinix/version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vicinix COMPONENT development)

# The CMake package: find_package(Vicinix 1.0 CONFIG).
install(EXPORT VicinixTargets NAMESPACE Vicinix:: FILE VicinixTargets.cmake
  DESTINATION ${VICINIX_CMAKE_DIR} COMPONENT development)
set(VICINIX_CONFIG_SHARED FALSE)
if(BUILD_SHARED_LIBS)
  set(VICINIX_CONFIG_SHARED TRUE)
endif()
set(VICINIX_CONFIG_QT FALSE)
if(TARGET vicinix_qt)
  set(VICINIX_CONFIG_QT TRUE)
endif()
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VicinixConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VicinixConfig.cmake INSTALL_DESTINATION ${VICINIX_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VicinixConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VicinixConfig.cmake
  ${PROJECT_BINARY_DIR}/VicinixConfigVersion.cmake
  DESTINATION ${VICINIX_CMAKE_DIR} COMPONENT development)

# pkg-config files that find their prefix from where they lie, so a tree
# installed anywhere (a staging prefix, an unpacked package) works as is.
# A shared library carries its own dependencies; only a static one lists them.
set(VICINIX_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH VICINIX_PC_TO_PREFIX /${VICINIX_PKGCONFIG_DIR} /)
string(REGEX REPLACE "/$" "" VICINIX_PC_TO_PREFIX "${VICINIX_PC_TO_PREFIX}")
if(BUILD_SHARED_LIBS)
  set(VICINIX_PC_REQUIRES_PRIVATE "")
  set(VICINIX_PC_LIBS_PRIVATE "")
  set(VICINIX_QT_PC_REQUIRES_PRIVATE "")
else()
  set(VICINIX_PC_REQUIRES_PRIVATE
    "Requires.private: glib-2.0 gio-2.0 gdk-pixbuf-2.0 libplist-2.0 libcurl libpcap sqlite3")
  set(VICINIX_PC_LIBS_PRIVATE "Libs.private: -lSQLiteCpp -pthread -ldl")
  set(VICINIX_QT_PC_REQUIRES_PRIVATE "Requires.private: Qt6WebEngineWidgets")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/vicinix.pc.in ${PROJECT_BINARY_DIR}/vicinix.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vicinix.pc
  DESTINATION ${VICINIX_PKGCONFIG_DIR} COMPONENT development)
if(TARGET vicinix_qt)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/vicinix-qt.pc.in ${PROJECT_BINARY_DIR}/vicinix-qt.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/vicinix-qt.pc
    DESTINATION ${VICINIX_PKGCONFIG_DIR} COMPONENT development)
endif()

# The host, its manual page and its systemd user unit.
if(TARGET vicinix-host)
  install(TARGETS vicinix-host RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT host)
  set(VICINIX_HOST_DIR ${PROJECT_SOURCE_DIR}/apps/vicinix-host)
  if(EXISTS ${VICINIX_HOST_DIR}/vicinix-host.1)
    # Compressed as man-db and Debian expect it; gzip -n keeps the bytes
    # reproducible. A new page re-runs the configure step.
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${VICINIX_HOST_DIR}/vicinix-host.1)
    execute_process(COMMAND gzip -9nc ${VICINIX_HOST_DIR}/vicinix-host.1
      OUTPUT_FILE ${PROJECT_BINARY_DIR}/vicinix-host.1.gz COMMAND_ERROR_IS_FATAL ANY)
    install(FILES ${PROJECT_BINARY_DIR}/vicinix-host.1.gz
      DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT host)
  endif()
  if(EXISTS ${VICINIX_HOST_DIR}/vicinix-host.service)
    # Under the prefix, where systemd --user looks for packaged units
    # (/usr/lib/systemd/user).
    install(FILES ${VICINIX_HOST_DIR}/vicinix-host.service
      DESTINATION lib/systemd/user COMPONENT host)
  endif()
endif()
