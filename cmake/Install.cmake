# What an installed Zel consists of, and the packages made from it.
include(CMakePackageConfigHelpers)

install(TARGETS zel zel_chain EXPORT zelTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
install(TARGETS zel_static zel_chain_static EXPORT zelTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
install(FILES include/zel.h include/zel_chain.h include/zel.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

install(EXPORT zelTargets NAMESPACE zel:: FILE zelTargets.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zel COMPONENT dev)
file(WRITE ${PROJECT_BINARY_DIR}/zelConfig.cmake
  "include(\"\${CMAKE_CURRENT_LIST_DIR}/zelTargets.cmake\")\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zelConfig.cmake ${PROJECT_BINARY_DIR}/zelConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zel COMPONENT dev)

if(NOT WIN32)
  # Paths relative to the .pc file itself, so that an installed tree can be moved.
  file(RELATIVE_PATH prefixFromPc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" prefixFromPc "${prefixFromPc}")
  foreach(name zel zel-chain)
    configure_file(packaging/${name}.pc.in ${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
  endforeach()
else()
  install(FILES packaging/zel.def DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
  install(FILES examples/host.c examples/host.cpp examples/chain.cpp examples/Host.cs DESTINATION examples COMPONENT dev)
  install(FILES docs/hosts.md DESTINATION . COMPONENT dev)
endif()
install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT library OPTIONAL)

set(CPACK_PACKAGE_NAME zel)
set(CPACK_PACKAGE_VENDOR "The Zel authors")
set(CPACK_PACKAGE_CONTACT "The Zel authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Photo enhancement, one function per adjustment")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Zel authors")
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
  set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libzel${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzel-dev)
  set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_TOOL_PACKAGE_NAME zel)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION graphics)
  set(CPACK_COMPONENT_DEV_DEPENDS library)
  set(CPACK_COMPONENT_TOOL_DEPENDS library)
endif()
set(CPACK_COMPONENTS_ALL library dev)
if(TARGET zel_tool)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()
include(CPack)
