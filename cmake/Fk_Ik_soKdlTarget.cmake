# KDL's package config sets variables only (orocos_kdl_LIBRARIES, the bare name
# orocos-kdl, and orocos_kdl_INCLUDE_DIRS, which carry Eigen's headers): wrap them in
# the imported target orocos_kdl::orocos_kdl. Used by this project's build and by the
# installed package config, after find_package(orocos_kdl) has run.
if(NOT TARGET orocos_kdl::orocos_kdl)
  find_library(FK_IK_SO_OROCOS_KDL_LIBRARY NAMES ${orocos_kdl_LIBRARIES}
               HINTS ${orocos_kdl_LIBRARY_DIRS})
  if(NOT FK_IK_SO_OROCOS_KDL_LIBRARY)
    message(FATAL_ERROR "KDL's library '${orocos_kdl_LIBRARIES}' was not found")
  endif()
  add_library(orocos_kdl::orocos_kdl UNKNOWN IMPORTED)
  set_target_properties(orocos_kdl::orocos_kdl PROPERTIES
    IMPORTED_LOCATION "${FK_IK_SO_OROCOS_KDL_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${orocos_kdl_INCLUDE_DIRS}")
endif()
