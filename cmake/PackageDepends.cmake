# Read by cpack: the packages' Depends, as scripts/package computed them with
# dpkg-shlibdeps and passed them in the environment.
foreach(component FRAMEWORK SYSTEM)
  if(NOT DEFINED ENV{PEMO_DEPENDS_${component}})
    message(FATAL_ERROR "PEMO_DEPENDS_${component} is not set: build the packages with scripts/package")
  endif()
endforeach()
# The maintainer scripts enable and start the units with init-system-helpers.
set(CPACK_DEBIAN_FRAMEWORK_PACKAGE_DEPENDS "init-system-helpers (>= 1.54~), $ENV{PEMO_DEPENDS_FRAMEWORK}")
set(CPACK_DEBIAN_SYSTEM_PACKAGE_DEPENDS
  "pemo-service-framework (= ${CPACK_PACKAGE_VERSION}), init-system-helpers (>= 1.54~), $ENV{PEMO_DEPENDS_SYSTEM}")
