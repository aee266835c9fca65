# Installation and the Debian packages (cpack -G DEB, driven by scripts/package):
#   pemo-service-framework  the host, the framework library and the registry module
#   pemo-system-manager     the system manager module and its configuration
# Private libraries and modules live in /usr/lib/pemo (the host finds the
# framework there through its RUNPATH); configuration in /etc/pemo.

set(PEMO_LIBDIR lib/pemo)

set_target_properties(pemo-service-host PROPERTIES INSTALL_RPATH /usr/${PEMO_LIBDIR})
install(TARGETS pemo-service-host RUNTIME DESTINATION bin COMPONENT framework)
install(TARGETS pemo-framework LIBRARY DESTINATION ${PEMO_LIBDIR} NAMELINK_SKIP COMPONENT framework)
install(TARGETS pemo-service-registry LIBRARY DESTINATION ${PEMO_LIBDIR} COMPONENT framework)
install(TARGETS pemo-system-manager LIBRARY DESTINATION ${PEMO_LIBDIR} COMPONENT system)
install(TARGETS pemoctl RUNTIME DESTINATION bin COMPONENT system)

# The robot's configurations are the simulated device's, less what only the
# simulator has: its demo services, its FIFO standing in for the power button
# and the development token, which would open every route to anyone.
file(READ ${PROJECT_SOURCE_DIR}/config/device.json system_config)
string(JSON system_config SET "${system_config}" SystemManager service services "[]")
string(JSON system_config SET "${system_config}" SystemManager powerButton path "\"/dev/input/event0\"")
string(JSON system_config REMOVE "${system_config}" pemo auth)
file(READ ${PROJECT_SOURCE_DIR}/config/registry.json registry_config)
string(JSON registry_config REMOVE "${registry_config}" pemo auth)
set(package_dir ${CMAKE_BINARY_DIR}/package)
file(WRITE ${package_dir}/system-manager.json "${system_config}\n")
file(WRITE ${package_dir}/service-registry.json "${registry_config}\n")
install(FILES ${package_dir}/service-registry.json DESTINATION /etc/pemo COMPONENT framework)
install(FILES ${package_dir}/system-manager.json DESTINATION /etc/pemo COMPONENT system)

# Manual pages, gzipped as Debian wants them; configure_file makes a changed
# page configure again.
foreach(page pemoctl.1 pemo-system-manager.5 pemo-service-host.8)
  string(REGEX REPLACE ".*\\.([0-9])$" "\\1" section ${page})
  configure_file(${PROJECT_SOURCE_DIR}/docs/man/${page} ${package_dir}/man/${page} COPYONLY)
  execute_process(COMMAND gzip -9nf ${package_dir}/man/${page})
  if(page STREQUAL pemo-service-host.8)
    set(component framework)
  else()
    set(component system)
  endif()
  install(FILES ${package_dir}/man/${page}.gz DESTINATION share/man/man${section} COMPONENT ${component})
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/docs/openapi.yaml DESTINATION share/doc/pemo-system-manager COMPONENT system)
install(FILES ${PROJECT_SOURCE_DIR}/client/pemoctl.bash-completion DESTINATION share/bash-completion/completions
  RENAME pemoctl COMPONENT system)

# Each package starts its daemon at boot through a systemd unit, enabled and
# started by its maintainer scripts.
foreach(component framework system)
  if(component STREQUAL framework)
    set(package pemo-service-framework)
    set(conffile /etc/pemo/service-registry.json)
    set(UNIT pemo-service-registry.service)
  else()
    set(package pemo-system-manager)
    set(conffile /etc/pemo/system-manager.json)
    set(UNIT pemo-system-manager.service)
  endif()
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${package})
  file(WRITE ${package_dir}/${component}/conffiles "${conffile}\n")
  set(control_extra ${package_dir}/${component}/conffiles)
  foreach(script postinst prerm postrm)
    configure_file(${PROJECT_SOURCE_DIR}/packaging/maintscripts/${script}.in ${package_dir}/${component}/${script}
      @ONLY FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    list(APPEND control_extra ${package_dir}/${component}/${script})
  endforeach()
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_CONTROL_EXTRA "${control_extra}")
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/systemd/${UNIT} DESTINATION /lib/systemd/system COMPONENT ${component})
  configure_file(${PROJECT_SOURCE_DIR}/packaging/changelog ${package_dir}/${component}/changelog @ONLY)
  execute_process(COMMAND gzip -9nf ${package_dir}/${component}/changelog)
  install(FILES ${package_dir}/${component}/changelog.gz ${PROJECT_SOURCE_DIR}/packaging/copyright
    DESTINATION share/doc/${package} COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL framework system)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE pemo)
set(CPACK_PACKAGE_CONTACT "Pemo robot team <robot-team@pemo.example>")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()
# Depends: what dpkg-shlibdeps finds for each package's binaries, which
# scripts/package computes (against the armhf sysroot when cross-building)
# and hands in when cpack reads PackageDepends.cmake.
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_LIST_DIR}/PackageDepends.cmake)
set(CPACK_COMPONENT_FRAMEWORK_DESCRIPTION "Pemo service framework: host, framework library and service registry
The host process (pemo-service-host) that loads a platform service module,
the framework library every service is built on (HTTP/JSON server,
sessions, broadcast ports, registry and notification clients) and the
service registry module with its configuration.")
set(CPACK_COMPONENT_SYSTEM_DESCRIPTION "Pemo system manager: the robot's resident system service
A module for pemo-service-host that supervises the platform's services,
launches skills under sessions, powers the robot off on request or on a
long press of its power button, sets the operating mode and firewall,
rotates logs and relays system notifications, with its default
configuration in /etc/pemo/system-manager.json, and pemoctl, its
command-line client.")
include(CPack)
