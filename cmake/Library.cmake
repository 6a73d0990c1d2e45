# The library: kernels once for each level, everything else once, then a shared and a static library of the same objects.

# The interface is listed once, in the .def file with its ordinals; ELF builds export exactly those names.
file(STRINGS packaging/zel.def ZEL_EXPORTS REGEX "@[0-9]+$")
set(names "")
foreach(line IN LISTS ZEL_EXPORTS)
  string(REGEX MATCH "[A-Za-z0-9_]+" name "${line}")
  string(APPEND names "    ${name};\n")
endforeach()
file(CONFIGURE OUTPUT zel.map CONTENT "{\n  global:\n@names@  local:\n    *;\n};\n" @ONLY)

function(zel_common target)
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON
    C_VISIBILITY_PRESET hidden CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(${target} PRIVATE include src)
  target_link_libraries(${target} PRIVATE zel_warnings zel_exact zel_plain)
endfunction()

# g++ 12 vectorises none of the kernels at -O2, so they ask for -O3 unless the build asks for a level of its own.
function(zel_kernel_level isa)
  add_library(zel_kernels_${isa} OBJECT src/simd/kernels.cpp)
  zel_common(zel_kernels_${isa})
  target_compile_definitions(zel_kernels_${isa} PRIVATE ZEL_ISA=${isa})
  target_compile_options(zel_kernels_${isa} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-O3> ${ARGN})
endfunction()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  zel_kernel_level(scalar -fno-vectorize -fno-slp-vectorize -DZEL_PLAIN_KERNELS)
else()
  zel_kernel_level(scalar -fno-tree-vectorize -DZEL_PLAIN_KERNELS)
endif()
zel_kernel_level(base)
set(ZEL_KERNEL_OBJECTS $<TARGET_OBJECTS:zel_kernels_base>)
if(ZEL_X86)
  zel_kernel_level(sse41 -msse4.1)
  zel_kernel_level(avx2 -mavx2)
  # Shuffles of bytes across the register came with processors that no longer slow down for wide registers.
  zel_kernel_level(avx512 -mavx2 -mavx512f -mavx512bw -mavx512dq -mavx512vl -mavx512vbmi -mavx512vnni
    -mprefer-vector-width=512)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # g++ 12 says it of its own headers' undefined vectors.
    target_compile_options(zel_kernels_avx512 PRIVATE -Wno-maybe-uninitialized -Wno-uninitialized)
  endif()
  foreach(isa sse41 avx2 avx512)
    if(MINGW AND NOT isa STREQUAL sse41)
      # Windows aligns the stack to 16 bytes only, and g++ stores wider temporaries there with aligned moves.
      target_compile_options(zel_kernels_${isa} PRIVATE -Wa,-muse-unaligned-vector-move)
    endif()
    list(APPEND ZEL_KERNEL_OBJECTS $<TARGET_OBJECTS:zel_kernels_${isa}>)
  endforeach()
endif()

file(GLOB ZEL_SOURCES CONFIGURE_DEPENDS src/core/*.cpp src/tone/*.cpp src/filter/*.cpp src/color/*.cpp
  src/selective/*.cpp src/retouch/*.cpp src/exports/*.cpp)
if(WIN32)
  list(FILTER ZEL_SOURCES EXCLUDE REGEX "_posix\\.cpp$")
else()
  list(FILTER ZEL_SOURCES EXCLUDE REGEX "_windows\\.cpp$")
endif()
add_library(zel_objects OBJECT ${ZEL_SOURCES} src/simd/dispatch.cpp src/simd/levels.cpp src/simd/prepare.cpp)
zel_common(zel_objects)
target_compile_definitions(zel_objects PRIVATE ZEL_BUILDING $<$<BOOL:${ZEL_X86}>:ZEL_HAS_WIDE_X86>)

# WebAssembly has no shared libraries: there both are static, under two names.
set(ZEL_KIND SHARED)
if(EMSCRIPTEN)
  set(ZEL_KIND STATIC)
endif()
add_library(zel ${ZEL_KIND} $<TARGET_OBJECTS:zel_objects> ${ZEL_KERNEL_OBJECTS})
target_include_directories(zel PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>)
set_target_properties(zel PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
if(WIN32)
  include(cmake/Windows.cmake)
  zel_windows_library(zel ${PROJECT_SOURCE_DIR}/packaging/zel.def "Photo enhancement, one function per adjustment")
  set_target_properties(zel PROPERTIES PREFIX "" IMPORT_PREFIX "lib")
  target_link_options(zel PRIVATE -static)
elseif(NOT EMSCRIPTEN)
  target_link_options(zel PRIVATE -Wl,--version-script=${CMAKE_CURRENT_BINARY_DIR}/zel.map)
  set_target_properties(zel PROPERTIES LINK_DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/zel.map)
  if(NOT ZEL_SANITIZE)
    target_link_options(zel PRIVATE -Wl,--no-undefined)
  endif()
endif()

add_library(zel_static STATIC $<TARGET_OBJECTS:zel_objects> ${ZEL_KERNEL_OBJECTS})
set_target_properties(zel_static PROPERTIES OUTPUT_NAME $<IF:$<BOOL:${EMSCRIPTEN}>,zel_static,zel> EXPORT_NAME static)
add_library(zel::zel ALIAS zel)
target_include_directories(zel_static PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<INSTALL_INTERFACE:include>)
target_compile_definitions(zel_static INTERFACE ZEL_STATIC)
add_library(zel::static ALIAS zel_static)
if(UNIX AND NOT EMSCRIPTEN)
  # What a program in C does not bring along.
  target_link_libraries(zel_static INTERFACE $<$<LINK_LANGUAGE:C>:stdc++> m)
endif()
