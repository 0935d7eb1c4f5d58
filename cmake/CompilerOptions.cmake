include(CheckCXXCompilerFlag)

# What every target of this tree is compiled with; `qz_options` is linked privately and not installed.
add_library(qz_options INTERFACE)
target_compile_features(qz_options INTERFACE cxx_std_20 c_std_11)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# Unity builds fail, because unnamed namespaces of several sources have helpers of the same name.
set(CMAKE_UNITY_BUILD OFF)

if(MSVC)
  # Not yet tried with Microsoft's own compiler: docs/guides/porting.md.
  target_compile_options(qz_options INTERFACE /W4 /permissive- /fp:precise /utf-8 /EHsc)
  target_compile_definitions(qz_options INTERFACE NOMINMAX _CRT_SECURE_NO_WARNINGS)
else()
  target_compile_options(qz_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wundef -Wvla -Wformat=2
    -Wcast-align -Wdouble-promotion
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wextra-semi>
    # Stated thresholds and exact zeros must hold on every processor and optimisation level.
    -ffp-contract=off)
endif()

if(WIN32)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # The debugging help library that the tests run under reads DWARF up to version 4.
    target_compile_options(qz_options INTERFACE -gdwarf-4)
  endif()
  # PDB files, and thus crash reports, do not tell where the tree is on the building machine.
  target_compile_options(qz_options INTERFACE "-fdebug-prefix-map=${PROJECT_SOURCE_DIR}=/qzCore")
  target_compile_definitions(qz_options INTERFACE
    __USE_MINGW_ANSI_STDIO=1 UNICODE _UNICODE WINVER=0x0601 _WIN32_WINNT=0x0601)
endif()

# Hardening, as distributions build: overruns end the program, and tables of function addresses are
# read-only. On Windows the toolchains' own settings do this, as far as it needs no further DLL.
if(NOT WIN32 AND NOT QZ_SANITIZE)
  target_compile_options(qz_options INTERFACE -fstack-protector-strong -fstack-clash-protection)
  # Marks the code as fit for shadow stacks. The mark only has an effect if the system's start files are
  # marked too (Debian's are not). Landing pads, the other half of the option, take a fifth of a small
  # state machine's speed, and Linux checks them in no program.
  check_cxx_compiler_flag(-fcf-protection=return QZ_HAS_CF_PROTECTION) # x86 alone
  if(QZ_HAS_CF_PROTECTION)
    target_compile_options(qz_options INTERFACE -fcf-protection=return)
  endif()
  target_link_options(qz_options INTERFACE -Wl,-z,relro,-z,now)
  # The C library warns if there is no optimisation. A package build may have set the macro already.
  if(NOT "${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS}" MATCHES "_FORTIFY_SOURCE")
    target_compile_options(qz_options INTERFACE
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
      $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>)
  endif()
endif()

if(QZ_SANITIZE)
  add_compile_options(-fsanitize=${QZ_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${QZ_SANITIZE})
endif()
