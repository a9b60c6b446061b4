# tshell_add_library(NAME <name> EXPORT_PREFIXES <prefix>... SOURCES <file>... [DEPENDS <target>...])
#
# Builds a layer twice from one set of objects: an OBJECT library `<name>_objects`
# that the unit tests link (so they can reach internal functions), and the shared
# library `<name>` with a versioned SONAME whose dynamic symbol table holds only the
# documented C API: every exported name starts with one of EXPORT_PREFIXES.
#
# The shared library is installed as part of the TShell package: the library itself in
# the "libs" component, its headers (under include/tshell), the development symlink and
# a pkg-config file <name>.pc in "dev", and the imported target TShell::<name> in the
# package's CMake export set. The .pc file requires the modules of the layers the library
# depends on, so that linking the shell with pkg-config brings the whole stack.
set(TSHELL_DESCRIPTION_tcommon "ISP tuning shell runtime: result codes, maps, logger, tracer, base64")
set(TSHELL_DESCRIPTION_tjson "ISP tuning shell JSON values, reader and writer")
set(TSHELL_DESCRIPTION_tdatabase "ISP tuning shell calibration database and settings documents")
set(TSHELL_DESCRIPTION_tdriver "ISP tuning shell driver: the simulated ISP")
set(TSHELL_DESCRIPTION_tshell "ISP tuning shell: JSON tuning requests to ISP parameters")

function(tshell_add_library)
  cmake_parse_arguments(LIB "" "NAME" "EXPORT_PREFIXES;SOURCES;DEPENDS" ${ARGN})
  set(objects ${LIB_NAME}_objects)
  add_library(${objects} OBJECT ${LIB_SOURCES})
  target_include_directories(${objects} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
    PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/source)
  target_link_libraries(${objects} PUBLIC ${LIB_DEPENDS})

  set(script "${CMAKE_CURRENT_BINARY_DIR}/${LIB_NAME}.map")
  set(globals "")
  foreach(prefix IN LISTS LIB_EXPORT_PREFIXES)
    string(APPEND globals "    ${prefix}*;\n")
  endforeach()
  file(WRITE "${script}" "${LIB_NAME}_0 {\n  global:\n${globals}  local:\n    *;\n};\n")

  add_library(${LIB_NAME} SHARED $<TARGET_OBJECTS:${objects}>)
  target_include_directories(${LIB_NAME} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${TSHELL_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${LIB_NAME} PUBLIC ${LIB_DEPENDS})
  # Under clang's sanitizers the runtime comes with the executable, not the library.
  target_link_options(${LIB_NAME} PRIVATE "-Wl,--version-script=${script}"
    $<$<NOT:$<BOOL:${TSHELL_FUZZ}>>:-Wl,--no-undefined>)
  set_target_properties(${LIB_NAME} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS "${script}")
  install(TARGETS ${LIB_NAME} EXPORT TShellTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libs NAMELINK_COMPONENT dev)
  install(DIRECTORY include/ DESTINATION ${TSHELL_INSTALL_INCLUDEDIR} COMPONENT dev)

  # The .pc file finds its prefix from where it lies, so an installed tree can be moved.
  set(requires "")
  set(PKG_LIBS_PRIVATE "")
  foreach(dependency IN LISTS LIB_DEPENDS)
    if(dependency STREQUAL "Threads::Threads")
      set(PKG_LIBS_PRIVATE "-pthread")
    elseif(TARGET ${dependency})
      list(APPEND requires "${dependency} = ${PROJECT_VERSION}")
    endif()
  endforeach()
  list(JOIN requires ", " PKG_REQUIRES)
  set(PKG_NAME ${LIB_NAME})
  set(PKG_DESCRIPTION "${TSHELL_DESCRIPTION_${LIB_NAME}}")
  configure_file(${PROJECT_SOURCE_DIR}/cmake/tshell-library.pc.in
    ${CMAKE_CURRENT_BINARY_DIR}/${LIB_NAME}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${LIB_NAME}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endfunction()
