# Install layout and the Debian package.
#
# The daemon's own paths are fixed (/etc/uplinker/hooks, /var/run/...), so the program files follow
# the distribution's layout: a plain install goes under /usr unless another prefix is asked for.
# This must run before GNUInstallDirs computes its directories.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
    set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Install prefix" FORCE)
endif()
include(GNUInstallDirs)

set(UPLINKER_PACKAGING_DIR ${CMAKE_SOURCE_DIR}/packaging)
set(UPLINKER_GENERATED_DIR ${CMAKE_BINARY_DIR}/packaging)

# The service files name the daemon, and the metrics service the status tool, by the installed
# path.
set(UPLINKER_DAEMON_PATH ${CMAKE_INSTALL_FULL_SBINDIR}/uplinker)
set(UPLINKER_STATUS_PATH ${CMAKE_INSTALL_FULL_BINDIR}/uplinker-status)
configure_file(${UPLINKER_PACKAGING_DIR}/systemd/uplinker.service.in
               ${UPLINKER_GENERATED_DIR}/uplinker.service @ONLY)
configure_file(${UPLINKER_PACKAGING_DIR}/systemd/uplinker-metrics.service.in
               ${UPLINKER_GENERATED_DIR}/uplinker-metrics.service @ONLY)
configure_file(${UPLINKER_PACKAGING_DIR}/init.d/uplinker.in
               ${UPLINKER_GENERATED_DIR}/init.d/uplinker @ONLY
               FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                WORLD_READ WORLD_EXECUTE)

install(TARGETS uplinker RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
# The tools' own CMakeLists installs them into bin, which is on every PATH the daemon is started
# with (systemd's default and the init script's).

install(FILES ${UPLINKER_PACKAGING_DIR}/uplinker.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
install(FILES ${UPLINKER_PACKAGING_DIR}/uplinker-status.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${UPLINKER_GENERATED_DIR}/uplinker.service DESTINATION lib/systemd/system)
# Installed, not enabled: an operator who runs node_exporter enables the timer.
install(FILES ${UPLINKER_GENERATED_DIR}/uplinker-metrics.service
              ${UPLINKER_PACKAGING_DIR}/systemd/uplinker-metrics.timer
        DESTINATION lib/systemd/system)

# These live where the daemon and the init system look, whatever the prefix.
install(PROGRAMS ${UPLINKER_GENERATED_DIR}/init.d/uplinker DESTINATION /etc/init.d)
install(DIRECTORY DESTINATION /etc/uplinker/hooks
        DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                              WORLD_READ WORLD_EXECUTE)

install(FILES ${UPLINKER_PACKAGING_DIR}/examples/config-answer.json
              ${UPLINKER_PACKAGING_DIR}/examples/rt_tables
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(PROGRAMS ${UPLINKER_PACKAGING_DIR}/examples/after-switch-inet
                 ${UPLINKER_PACKAGING_DIR}/examples/stub-config-service
        DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
install(FILES ${CMAKE_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

# Installing and packaging take the binaries as built, instead of first building every target
# (the unit tests and benchmarks included): build uplinker and the tools, then run cpack.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME uplinker)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "uplinker maintainers <uplinker@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "WAN uplink failover daemon for embedded Linux gateways")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# Shared-library dependencies are computed from the built binaries; the rest is what the daemon
# runs by name: ip for the default route, sh for the hook and the route commands.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "iproute2")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${UPLINKER_PACKAGING_DIR}/debian/conffiles)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# A cross build names the target's architecture, not the build machine's.
if(CMAKE_CROSSCOMPILING AND CMAKE_LIBRARY_ARCHITECTURE MATCHES "^arm-linux-gnueabihf")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()
include(CPack)
