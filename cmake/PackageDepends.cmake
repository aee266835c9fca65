# Read by cpack: the packages' Depends, as scripts/package computed them with
# dpkg-shlibdeps and passed them in the environment.
foreach(component FRAMEWORK SYSTEM)
  if(NOT DEFINED ENV{PEMO_DEPENDS_${component}})
    message(FATAL_ERROR "PEMO_DEPENDS_${component} is not set: build the packages with scripts/package")
  endif()
endforeach()
set(CPACK_DEBIAN_FRAMEWORK_PACKAGE_DEPENDS "$ENV{PEMO_DEPENDS_FRAMEWORK}")
set(CPACK_DEBIAN_SYSTEM_PACKAGE_DEPENDS "pemo-service-framework (= ${CPACK_PACKAGE_VERSION}), $ENV{PEMO_DEPENDS_SYSTEM}")
