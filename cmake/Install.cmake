# What an installed Zel consists of. packaging/debian sorts it into packages.
include(CMakePackageConfigHelpers)

install(TARGETS zel zel_chain EXPORT zelTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS zel_static zel_chain_static EXPORT zelTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/zel.h include/zel_chain.h include/zel.hpp DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT zelTargets NAMESPACE zel:: FILE zelTargets.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zel)
file(WRITE ${PROJECT_BINARY_DIR}/zelConfig.cmake
  "include(\"\${CMAKE_CURRENT_LIST_DIR}/zelTargets.cmake\")\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zelConfig.cmake ${PROJECT_BINARY_DIR}/zelConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zel)

if(NOT WIN32)
  # Paths relative to the .pc file itself, so that an installed tree can be moved.
  file(RELATIVE_PATH prefixFromPc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" prefixFromPc "${prefixFromPc}")
  foreach(name zel zel-chain)
    configure_file(packaging/${name}.pc.in ${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  endforeach()
else()
  install(FILES packaging/zel.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(FILES examples/host.c examples/host.cpp examples/chain.cpp examples/Host.cs DESTINATION examples)
  install(FILES docs/hosts.md DESTINATION .)
endif()
install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL)
