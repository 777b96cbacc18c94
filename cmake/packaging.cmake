# Installing and packaging: the library and the URDF reader with their SONAMEs, the public
# headers under include/fk_ik_so/, the CMake package (Fk_Ik_so::Fk_Ik_so and
# Fk_Ik_so::Fk_Ik_so_urdf) with its version file, the pkg-config files fk_ik_so.pc and
# fk_ik_so_urdf.pc, fkik, and the README, licence and changelog. cpack -G DEB
# turns the same tree into a Debian package.
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
configure_file(cmake/fk_ik_so.pc.in ${CMAKE_CURRENT_BINARY_DIR}/fk_ik_so.pc @ONLY)
configure_file(cmake/fk_ik_so_urdf.pc.in ${CMAKE_CURRENT_BINARY_DIR}/fk_ik_so_urdf.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/fk_ik_so.pc ${CMAKE_CURRENT_BINARY_DIR}/fk_ik_so_urdf.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES README.md LICENSE CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(CPACK_PACKAGE_NAME libfk-ik-so)
set(CPACK_PACKAGE_VENDOR "libFk_Ik_so developers")
set(CPACK_PACKAGE_CONTACT "libFk_Ik_so developers <fk-ik-so@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "forward and closed-form inverse position kinematics of a 6-axis arm")
set(CPACK_PACKAGE_DESCRIPTION
    "libFk_Ik_so computes the pose of the tool centre point of a 6-axis arm given by\
 modified DH parameters, and the joint positions of a pose in the configuration of a\
 reference. The package holds the shared library, the URDF reader libFk_Ik_so_urdf,\
 their C and C++ headers, the CMake package Fk_Ik_so, the pkg-config files fk_ik_so and\
 fk_ik_so_urdf and the command-line host fkik.\
 Licence: Apache-2.0.")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_CURRENT_SOURCE_DIR}/LICENSE)
set(CPACK_RESOURCE_FILE_README ${CMAKE_CURRENT_SOURCE_DIR}/README.md)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
# The run-time dependencies (KDL's and urdfdom's libraries, the C++ and C runtimes) come
# from dpkg-shlibdeps; building against the headers needs KDL's.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "liborocos-kdl-dev")
# A build with the Python module puts it into the package too; it imports numpy.
if(FK_IK_BUILD_PYTHON)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3, python3-numpy")
endif()
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
include(CPack)
