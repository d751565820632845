# SPDX-License-Identifier: Apache-2.0
# A subdirectory adds a Debian package <name> by installing its files with install(... COMPONENT <name>) and
# setting, in its own CMakeLists.txt, CPACK_DEBIAN_<NAME>_DESCRIPTION ("synopsis\nlonger text") and, as needed,
# CPACK_DEBIAN_<NAME>_PACKAGE_SECTION/_PACKAGE_DEPENDS/_PACKAGE_ARCHITECTURE (<NAME> upper-cased, e.g. PYTHON3-FIBERDECODE);
# the package is named as the component unless CPACK_DEBIAN_<NAME>_PACKAGE_NAME says otherwise.
#
# Debian packages with CPack's DEB generator, one per install component: every component that exists at
# the end of configuration becomes a package (`cpack -G DEB` in the build directory; configure with
# -DCMAKE_INSTALL_PREFIX=/usr for Debian's multiarch library directory). Each package gets its copyright
# file and changelog here, dependencies from dpkg-shlibdeps and, unless it sets
# CPACK_COMPONENT_<NAME>_DEPENDS itself, an exact one on libfiberdecode1 (every front-end links it).

set(FIBER_DEB_MAINTAINER "fiberdecode maintainers <fiberdecode@example.org>" CACHE STRING
  "Maintainer field of the Debian packages")

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_NAME fiberdecode)
set(CPACK_PACKAGE_VENDOR "fiberdecode")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "${FIBER_DEB_MAINTAINER}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
# Install with DESTDIR, so that install-time code sees the packaged prefix
# /usr: the pkg-config file's prefix, no RPATH.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${FIBER_DEB_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The command and front-ends link libfiberdecode.so.1 from the build tree;
# their dependency on it is the component dependency set below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# A shlibs file for each library with a SONAME: programs built against
# libfiberdecode.so.1 depend on libfiberdecode1 of at least this version.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_LIBFIBERDECODE1_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBFIBERDECODE1_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/triggers)
set(CPACK_DEBIAN_LIBFIBERDECODE1_DESCRIPTION "pluggable transceiver module memory decoder - shared library
fiberdecode decodes the management memory of pluggable transceiver modules
(SFP, SFP+ and SFP28 per SFF-8472, XFP per INF-8077i, QSFP+ and QSFP28 per
SFF-8436 and SFF-8636, CMIS modules such as QSFP-DD and QSFP56) into
fixed-layout C records: identification, vendor data, diagnostics with
thresholds and flags, alarms and CMIS module state.
.
This package contains the shared library.")
set(CPACK_COMPONENT_LIBFIBERDECODE1_DEPENDS "")

set(CPACK_DEBIAN_LIBFIBERDECODE-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBFIBERDECODE-DEV_DESCRIPTION "pluggable transceiver module memory decoder - development files
fiberdecode decodes the management memory of pluggable transceiver modules
(SFP, XFP, QSFP and CMIS) into fixed-layout C records.
.
This package contains the header, the static library, the pkg-config file,
the CMake package and the libfiberdecode(3) manual page.")

set(CPACK_DEBIAN_FIBERDECODE_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_FIBERDECODE_DESCRIPTION "pluggable transceiver module memory decoder - command
fiberdecode decodes module memory dumps (raw images and hex text of
ethtool -m, optoe sysfs files, i2cdump output) of SFP, XFP, QSFP and CMIS
modules and prints identification, vendor data, diagnostics with
thresholds and flags, active alarms and CMIS module state, as text or JSON.")

# Debian packages carry a copyright file and a changelog in
# /usr/share/doc/<package>; a plain install has LICENSE instead.
set(FIBER_DEB_CHANGELOG ${PROJECT_BINARY_DIR}/debian/changelog.gz)
add_custom_command(OUTPUT ${FIBER_DEB_CHANGELOG}
  COMMAND sh -c "gzip -9n < '${CMAKE_CURRENT_LIST_DIR}/debian/changelog' > '${FIBER_DEB_CHANGELOG}'"
  DEPENDS ${CMAKE_CURRENT_LIST_DIR}/debian/changelog
  VERBATIM)
add_custom_target(fiberdecode_deb_changelog ALL DEPENDS ${FIBER_DEB_CHANGELOG})

# Runs once the whole tree is configured, so that the components of every
# subdirectory are known.
function(fiber_configure_packages)
  get_cmake_property(components COMPONENTS)
  list(REMOVE_ITEM components Unspecified)
  get_cmake_property(all_components COMPONENTS)
  if("Unspecified" IN_LIST all_components)
    message(WARNING "install rules without COMPONENT: their files are in no Debian package")
  endif()

  # Package variables that subdirectories set in their own scope.
  set(directories ${PROJECT_SOURCE_DIR})
  set(all_directories "")
  while(directories)
    list(POP_FRONT directories dir)
    list(APPEND all_directories ${dir})
    get_property(subdirs DIRECTORY ${dir} PROPERTY SUBDIRECTORIES)
    list(APPEND directories ${subdirs})
  endwhile()

  foreach(component IN LISTS components)
    string(TOUPPER ${component} name)
    foreach(dir IN LISTS all_directories)
      get_property(vars DIRECTORY ${dir} PROPERTY VARIABLES)
      list(FILTER vars INCLUDE REGEX "^CPACK_(DEBIAN|COMPONENT)_${name}_")
      foreach(var IN LISTS vars)
        get_directory_property(value DIRECTORY ${dir} DEFINITION ${var})
        set(${var} "${value}")
      endforeach()
    endforeach()
    if(NOT DEFINED CPACK_DEBIAN_${name}_PACKAGE_NAME)
      set(CPACK_DEBIAN_${name}_PACKAGE_NAME ${component})
    endif()
    if(NOT DEFINED CPACK_COMPONENT_${name}_DEPENDS)
      set(CPACK_COMPONENT_${name}_DEPENDS libfiberdecode1)
    endif()
    install(FILES ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/debian/copyright ${FIBER_DEB_CHANGELOG}
      DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME}
      COMPONENT ${component} EXCLUDE_FROM_ALL)
  endforeach()

  set(CPACK_COMPONENTS_ALL ${components})
  include(CPack)
endfunction()
# Packages are made of this project alone, never of a project that includes it.
if(PROJECT_IS_TOP_LEVEL)
  cmake_language(DEFER DIRECTORY ${PROJECT_SOURCE_DIR} CALL fiber_configure_packages)
endif()
