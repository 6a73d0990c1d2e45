# Flags of everything built here. zel_warnings: our own code; zel_exact: code whose numbers are promised.
add_library(zel_warnings INTERFACE)
target_compile_options(zel_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
if(ZEL_WERROR)
  target_compile_options(zel_warnings INTERFACE -Werror)
endif()
if(ZEL_SANITIZE)
  add_compile_options(-fsanitize=${ZEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZEL_SANITIZE})
endif()

if(ZEL_FUZZ)
  # Edges alone: tracing comparisons too would halve the speed, and the targets need no magic numbers found.
  add_compile_options(-fsanitize-coverage=inline-8bit-counters,pc-table)
endif()

# No fused or widened arithmetic, so that one call gives one result everywhere. 32-bit x86 counts in SSE2 registers.
add_library(zel_exact INTERFACE)
target_compile_options(zel_exact INTERFACE -ffp-contract=off)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64|i[3-6]86|x86)$" AND NOT EMSCRIPTEN)
  set(ZEL_X86 ON)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_options(zel_exact INTERFACE -msse2 -mfpmath=sse -mstackrealign)
  endif()
endif()

# The library throws nothing and asks for no type at run time.
add_library(zel_plain INTERFACE)
target_compile_options(zel_plain INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)

if(MINGW)
  # The linker would write the time into every file.
  add_link_options(-Wl,--no-insert-timestamp)
endif()
