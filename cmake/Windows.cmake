# What a DLL has besides its code: a version resource, a list of its exports, and import libraries for the conventions of
# both kinds of compilers, lib<name>.dll.a from the linker and <name>.lib from the list.
enable_language(RC)
find_program(ZEL_DLLTOOL NAMES llvm-dlltool-14 llvm-dlltool)

function(zel_windows_library target def description)
  set(ZEL_DESCRIPTION ${description})
  set(ZEL_FILE ${target})
  configure_file(${PROJECT_SOURCE_DIR}/packaging/windows/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
  target_sources(${target} PRIVATE ${def} ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  if(NOT ZEL_DLLTOOL)
    return()
  endif()
  set(machine $<IF:$<EQUAL:${CMAKE_SIZEOF_VOID_P},8>,i386:x86-64,i386>)
  add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/${target}.lib
    COMMAND ${ZEL_DLLTOOL} -m ${machine} -D ${target}.dll -d ${def} -l ${PROJECT_BINARY_DIR}/${target}.lib
    DEPENDS ${def} VERBATIM)
  add_custom_target(${target}_lib ALL DEPENDS ${PROJECT_BINARY_DIR}/${target}.lib)
  if(ZEL_INSTALL)
    install(FILES ${PROJECT_BINARY_DIR}/${target}.lib DESTINATION ${CMAKE_INSTALL_LIBDIR})
  endif()
endfunction()
