# How the project is installed and packed for integrators.
#
# The CMake package (find_package(TShell CONFIG)) and the pkg-config files (one per library,
# written by tshell_add_library) describe the installed tree with paths relative to where
# they lie, so the tree can be unpacked under any prefix.
#
# Debian packages come from CPack, one per component:
#   libtshell<N>   libs:     the five shared libraries with their SONAMEs
#   libtshell-dev  dev:      headers, development symlinks, CMake and pkg-config files
#   tshell-tools   programs: tshell, tshell-server, tdriver-compliance, bash completion
# The architecture is the target's, so a cross build packs for the board:
#   cmake --build build-aarch64 && (cd build-aarch64 && cpack -G DEB)
include(CMakePackageConfigHelpers)

install(EXPORT TShellTargets NAMESPACE TShell:: DESTINATION ${TSHELL_INSTALL_CMAKEDIR}
  COMPONENT dev)
configure_package_config_file(cmake/TShellConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/TShellConfig.cmake
  INSTALL_DESTINATION ${TSHELL_INSTALL_CMAKEDIR}
  PATH_VARS TSHELL_INSTALL_INCLUDEDIR)
# The C API keeps its names within a major version.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/TShellConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/TShellConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/TShellConfigVersion.cmake
  DESTINATION ${TSHELL_INSTALL_CMAKEDIR} COMPONENT dev)

# Debian names for the processors the project builds for.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(tshell_deb_arch arm64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
  set(tshell_deb_arch amd64)
else()
  set(tshell_deb_arch ${CMAKE_SYSTEM_PROCESSOR})
endif()

set(tshell_libs_package libtshell${PROJECT_VERSION_MAJOR})
set(CPACK_PACKAGE_NAME tshell)
set(CPACK_PACKAGE_VENDOR "tshell developers")
set(CPACK_PACKAGE_CONTACT "tshell developers <tshell@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "ISP tuning shell")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
# The -dev and programs packages depend on the libraries of exactly this version.
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENTS_ALL libs dev programs)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${tshell_deb_arch})
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
# dpkg-shlibdeps cannot see a cross build's libraries, so the run-time needs are written
# out: the C and C++ runtimes of GCC 12 (Debian 12).
set(tshell_runtime_depends "libc6 (>= 2.34), libstdc++6 (>= 12), libgcc-s1 (>= 3.0)")

set(CPACK_COMPONENT_LIBS_DESCRIPTION
  "ISP tuning shell: runtime libraries\n The tuning shell (libtshell) and its companion libraries: runtime, JSON, calibration\n database and the driver of the simulated ISP.")
set(CPACK_DEBIAN_LIBS_PACKAGE_NAME ${tshell_libs_package})
set(CPACK_DEBIAN_LIBS_PACKAGE_DEPENDS "${tshell_runtime_depends}")
# A shlibs file lets packages built against the libraries depend on them, and ldconfig
# runs when they are installed.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_COMPONENT_DEV_DESCRIPTION
  "ISP tuning shell: development files\n Headers, CMake package (find_package(TShell)) and pkg-config files for hosts that embed\n the tuning shell or port its driver.")
set(CPACK_COMPONENT_DEV_DEPENDS libs)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libtshell-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)

set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION
  "ISP tuning shell: programs\n tshell (command line), tshell-server (tuning server with the browser client, where\n built) and tdriver-compliance (checks a driver library against the shell's contract).")
set(CPACK_COMPONENT_PROGRAMS_DEPENDS libs)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME tshell-tools)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION utils)
set(tshell_programs_depends "${tshell_runtime_depends}")
# The server and the command line's --connect link the HTTP library's shared object, and
# their picture files the image libraries': name the Debian packages that own them.
set(tshell_program_libraries "")
if(TARGET PkgConfig::CPP_HTTPLIB)
  get_target_property(tshell_http_libraries PkgConfig::CPP_HTTPLIB INTERFACE_LINK_LIBRARIES)
  foreach(library IN LISTS tshell_http_libraries)
    if(library MATCHES "cpp-httplib")
      list(APPEND tshell_program_libraries "${library}")
    endif()
  endforeach()
endif()
get_property(tshell_image_libraries GLOBAL PROPERTY TSHELL_PROGRAM_LIBRARIES)
list(APPEND tshell_program_libraries ${tshell_image_libraries})
set(tshell_program_owners "")
foreach(library IN LISTS tshell_program_libraries)
  if(EXISTS "${library}")
    get_filename_component(library "${library}" REALPATH)
    execute_process(COMMAND dpkg-query -S "${library}" OUTPUT_VARIABLE owner
      RESULT_VARIABLE failed ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(NOT failed AND owner MATCHES "^([^:]+):")
      list(APPEND tshell_program_owners "${CMAKE_MATCH_1}")
    endif()
  endif()
endforeach()
list(REMOVE_DUPLICATES tshell_program_owners)
foreach(owner IN LISTS tshell_program_owners)
  string(APPEND tshell_programs_depends ", ${owner}")
endforeach()
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS "${tshell_programs_depends}")

include(CPack)
