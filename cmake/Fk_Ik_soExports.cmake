# The main library's exports: a linker version script made from the reviewed list
# (test/exported_symbols.txt, one name a line as `nm -D -C` prints it). The library exports
# the names of the list and nothing else, each under the version node given: neither an
# internal helper marked by mistake nor what a toolchain adds (the C++ runtime's __cxa_*
# from a static libstdc++, vague-linkage symbols of standard templates) can enter its
# interface. C names go into the script as they are; C++ names go into its extern "C++"
# block quoted, which the linker matches exactly against the demangled name.
#
# The script is made again whenever the list changes (the list is a configure dependency),
# so the two cannot disagree; the test of the exported symbols compares the library with
# the list, and a name of the list that the library no longer defines shows there.
function(fk_ik_so_export_exactly target list node)
  file(STRINGS ${list} lines)
  # The blocks' lines, each ending in a line feed.
  set(FK_IK_SO_C_NAMES "")
  set(FK_IK_SO_CXX_NAMES "")
  set(previous "")
  foreach(line IN LISTS lines)
    # A constructor or destructor is listed twice (its complete-object and base-object
    # symbols share one demangled name): the script names it once.
    if(line MATCHES "^#" OR line STREQUAL "" OR line STREQUAL previous)
      continue()
    elseif(line MATCHES "^[A-Za-z_][A-Za-z0-9_]*$")
      string(APPEND FK_IK_SO_C_NAMES "    ${line};\n")
    else()
      string(APPEND FK_IK_SO_CXX_NAMES "      \"${line}\";\n")
    endif()
    set(previous "${line}")
  endforeach()
  if(FK_IK_SO_C_NAMES STREQUAL "" AND FK_IK_SO_CXX_NAMES STREQUAL "")
    message(FATAL_ERROR "${list}: no exported name")
  endif()
  set(FK_IK_SO_EXPORT_LIST ${list})
  set(FK_IK_SO_VERSION_NODE ${node})
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  # Written only when its text changes: no relink after a configure run that changed nothing.
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version_script.map.in ${script} @ONLY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
  target_link_options(${target} PRIVATE -Wl,--version-script=${script})
endfunction()
