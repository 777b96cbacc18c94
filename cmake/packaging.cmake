# Installing and packaging: the library and the URDF reader with their SONAMEs, the public
# headers under include/fk_ik_so/, the CMake package (Fk_Ik_so::Fk_Ik_so and
# Fk_Ik_so::Fk_Ik_so_urdf) with its version file, the pkg-config files fk_ik_so.pc and
# fk_ik_so_urdf.pc, fkik, and the README, licence and changelog. The target deb splits the
# same tree into Debian packages (cmake/debian/make-packages.sh).
include(CMakePackageConfigHelpers)

set(FK_IK_SO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Fk_Ik_so)
install(EXPORT Fk_Ik_soTargets NAMESPACE Fk_Ik_so:: DESTINATION ${FK_IK_SO_CMAKE_DIR})
configure_package_config_file(cmake/Fk_Ik_soConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/Fk_Ik_soConfig.cmake INSTALL_DESTINATION ${FK_IK_SO_CMAKE_DIR})
# 1.x versions are interchangeable for callers of 1.1: a new major version breaks them.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/Fk_Ik_soConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/Fk_Ik_soConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/Fk_Ik_soConfigVersion.cmake
              cmake/Fk_Ik_soKdlTarget.cmake
        DESTINATION ${FK_IK_SO_CMAKE_DIR})

file(RELATIVE_PATH FK_IK_SO_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" FK_IK_SO_PC_PREFIX "${FK_IK_SO_PC_PREFIX}")
# Built for Debian's layout (prefix /usr, multiarch library directory), the README is the
# development package's document.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr" AND CMAKE_LIBRARY_ARCHITECTURE
   AND CMAKE_INSTALL_LIBDIR STREQUAL "lib/${CMAKE_LIBRARY_ARCHITECTURE}")
  set(FK_IK_SO_README share/doc/libfk-ik-so-dev/README.md.gz)
else()
  set(FK_IK_SO_README ${CMAKE_INSTALL_DOCDIR}/README.md)
endif()
configure_file(cmake/fk_ik_so.pc.in ${CMAKE_CURRENT_BINARY_DIR}/fk_ik_so.pc @ONLY)
configure_file(cmake/fk_ik_so_urdf.pc.in ${CMAKE_CURRENT_BINARY_DIR}/fk_ik_so_urdf.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/fk_ik_so.pc ${CMAKE_CURRENT_BINARY_DIR}/fk_ik_so_urdf.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES README.md LICENSE CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

# Debian packages, made from a build tree configured for Debian's layout and flags
# (scripts/build-debs): cmake --build <build> --target deb writes them to <build>/debs.
set(FK_IK_DEB_MAINTAINER "libFk_Ik_so developers <fk-ik-so@example.org>"
    CACHE STRING "Maintainer field of the Debian packages")
set(FK_IK_DEB_REVISION 1
    CACHE STRING "Debian revision: the packages' version is <project version>-<revision>")
# The Python package depends on the interpreter version the module was built for.
if(TARGET _fk_ik)
  get_directory_property(FK_IK_DEB_PYTHON_VERSION DIRECTORY plugin/robot/Fk_Ik_so/python
                         DEFINITION Python3_VERSION)
  string(REGEX MATCH "^[0-9]+\\.[0-9]+" FK_IK_DEB_PYTHON_VERSION "${FK_IK_DEB_PYTHON_VERSION}")
endif()
if(TARGET fkik)
  set(FK_IK_DEB_FKIK yes)
endif()
configure_file(cmake/debian/settings.sh.in ${CMAKE_CURRENT_BINARY_DIR}/debian/settings.sh @ONLY)
add_custom_target(deb
  COMMAND sh ${CMAKE_CURRENT_SOURCE_DIR}/cmake/debian/make-packages.sh ${CMAKE_CURRENT_BINARY_DIR}
  COMMENT "Debian packages into ${CMAKE_CURRENT_BINARY_DIR}/debs" VERBATIM)
foreach(target Fk_Ik_so Fk_Ik_so_urdf fkik _fk_ik)
  if(TARGET ${target})
    add_dependencies(deb ${target})
  endif()
endforeach()
