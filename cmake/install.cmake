# SPDX-License-Identifier: Apache-2.0
# The install tree (GNUInstallDirs), relocatable to any prefix given at
# install time (cmake --install build --prefix P):
#
#   lib/libfiberdecode.so.1.0.0, .so.1   runtime (package libfiberdecode1)
#   lib/libfiberdecode.so, .a            development (package libfiberdecode-dev), with
#   include/fiber_decode.h               lib/pkgconfig/fiberdecode.pc, lib/cmake/fiberdecode/
#   share/man/man3/libfiberdecode.3.gz   and the library's man page
#   bin/fiberdecode                      the command (package fiberdecode), with its man page
#   share/doc/fiberdecode/LICENSE        and the licence
#
# Every rule names its component; a component is a Debian package (packaging.cmake).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(FIBER_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/fiberdecode)

install(TARGETS fiberdecode EXPORT fiberdecodeTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libfiberdecode1 NAMELINK_COMPONENT libfiberdecode-dev
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT libfiberdecode-dev)
install(TARGETS fiberdecode_static EXPORT fiberdecodeTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libfiberdecode-dev)

# CMake package: find_package(fiberdecode 1) gives fiberdecode::fiberdecode
# (shared) and fiberdecode::fiberdecode_static; any 1.x satisfies 1.
install(EXPORT fiberdecodeTargets NAMESPACE fiberdecode:: DESTINATION ${FIBER_CMAKE_DIR}
  COMPONENT libfiberdecode-dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/fiberdecodeConfig.cmake.in
  ${PROJECT_BINARY_DIR}/fiberdecodeConfig.cmake INSTALL_DESTINATION ${FIBER_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/fiberdecodeConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/fiberdecodeConfig.cmake ${PROJECT_BINARY_DIR}/fiberdecodeConfigVersion.cmake
  DESTINATION ${FIBER_CMAKE_DIR} COMPONENT libfiberdecode-dev)

# pkg-config file, written when installing so that its prefix is the one
# installed to (a --prefix given to cmake --install, /usr in the packages).
install(CODE "
  set(prefix \"\${CMAKE_INSTALL_PREFIX}\")
  set(FIBER_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(FIBER_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(FIBER_PC_VERSION \"${PROJECT_VERSION}\")
  string(MD5 tag \"\$ENV{DESTDIR}\${prefix}\")
  set(pc \"${PROJECT_BINARY_DIR}/pkgconfig/\${tag}/fiberdecode.pc\")
  configure_file(\"${CMAKE_CURRENT_LIST_DIR}/fiberdecode.pc.in\" \"\${pc}\" @ONLY)
  file(INSTALL DESTINATION \"\${prefix}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\" TYPE FILE FILES \"\${pc}\")
" COMPONENT libfiberdecode-dev)

# fiber_install_rpath(<target> <destination> <component>): <target>, installed
# into <destination> by <component>, finds the libraries of this tree through
# an RPATH relative to its own directory ($ORIGIN), right for any prefix. The
# RPATH is removed when installing to a prefix whose library directory the
# dynamic linker searches anyway (/usr, and so the Debian packages). Call it
# after the target's install(TARGETS) rule.
set(FIBER_SYSTEM_LIB_DIRS ${CMAKE_PLATFORM_IMPLICIT_LINK_DIRECTORIES} ${CMAKE_C_IMPLICIT_LINK_DIRECTORIES})
list(REMOVE_DUPLICATES FIBER_SYSTEM_LIB_DIRS)
function(fiber_install_rpath target destination component)
  file(RELATIVE_PATH to_lib "/${destination}" "/${CMAKE_INSTALL_LIBDIR}")
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${to_lib}")
  install(CODE "
    set(system_lib_dirs \"${FIBER_SYSTEM_LIB_DIRS}\")
    cmake_path(SET lib_dir NORMALIZE \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}\")
    list(FIND system_lib_dirs \"\${lib_dir}\" at)
    if(NOT at EQUAL -1)
      file(RPATH_REMOVE FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${destination}/$<TARGET_FILE_NAME:${target}>\")
    endif()
  " COMPONENT ${component})
endfunction()

# Man pages, rendered from their scdoc sources and compressed as Debian
# installs them.
find_program(FIBER_SCDOC scdoc)
if(FIBER_SCDOC)
  set(FIBER_MAN_PAGES libfiberdecode.3)
  if(FIBER_BUILD_TOOLS)
    list(APPEND FIBER_MAN_PAGES fiberdecode.1)
  endif()
  set(FIBER_MAN_FILES "")
  foreach(page IN LISTS FIBER_MAN_PAGES)
    set(source ${PROJECT_SOURCE_DIR}/man/${page}.scd)
    set(output ${PROJECT_BINARY_DIR}/man/${page}.gz)
    add_custom_command(OUTPUT ${output}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/man
      COMMAND sh -c "'${FIBER_SCDOC}' < '${source}' | gzip -9n > '${output}'"
      DEPENDS ${source}
      COMMENT "Rendering man page ${page}"
      VERBATIM)
    list(APPEND FIBER_MAN_FILES ${output})
    string(REGEX MATCH "[0-9]$" section ${page})
    if(section STREQUAL "1")
      set(component fiberdecode)
    else()
      set(component libfiberdecode-dev)
    endif()
    install(FILES ${output} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
  endforeach()
  add_custom_target(fiberdecode_man ALL DEPENDS ${FIBER_MAN_FILES})
else()
  message(WARNING "scdoc not found (scripts/deps installs it): the man pages are neither built nor installed")
endif()

# share/doc/fiberdecode is the command's package's directory; without the
# command, the development package carries the licence.
if(FIBER_BUILD_TOOLS)
  set(component fiberdecode)
else()
  set(component libfiberdecode-dev)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT ${component})
