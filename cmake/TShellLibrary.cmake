# tshell_add_library(NAME <name> EXPORT_PREFIXES <prefix>... SOURCES <file>... [DEPENDS <target>...])
#
# Builds a layer twice from one set of objects: an OBJECT library `<name>_objects`
# that the unit tests link (so they can reach internal functions), and the shared
# library `<name>` with a versioned SONAME whose dynamic symbol table holds only the
# documented C API: every exported name starts with one of EXPORT_PREFIXES.
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
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${LIB_NAME} PUBLIC ${LIB_DEPENDS})
  # Under clang's sanitizers the runtime comes with the executable, not the library.
  target_link_options(${LIB_NAME} PRIVATE "-Wl,--version-script=${script}"
    $<$<NOT:$<BOOL:${TSHELL_FUZZ}>>:-Wl,--no-undefined>)
  set_target_properties(${LIB_NAME} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS "${script}")
  install(TARGETS ${LIB_NAME} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
endfunction()
