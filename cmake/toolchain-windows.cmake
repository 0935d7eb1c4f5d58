# Cross-builds for 64-bit Windows with clang and lld over mingw-w64 and GCC's C++ library, and runs what
# it built under Wine. Debugging information goes to PDB files, the only ones that Windows reads.
include(${CMAKE_CURRENT_LIST_DIR}/windows-target.cmake)

set(CMAKE_C_COMPILER clang-14)
set(CMAKE_CXX_COMPILER clang++-14)
set(CMAKE_C_COMPILER_TARGET ${QZ_MINGW})
set(CMAKE_CXX_COMPILER_TARGET ${QZ_MINGW})
set(CMAKE_AR llvm-ar-14)
set(CMAKE_RANLIB llvm-ranlib-14)
set(CMAKE_STRIP llvm-strip-14)

# Clang does not find the folder by itself, because the variant's name is part of it.
execute_process(COMMAND ${QZ_MINGW}-g++-posix -print-file-name=libgcc.a
  OUTPUT_VARIABLE QZ_GCC_FOLDER OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET QZ_GCC_FOLDER PARENT_PATH QZ_GCC_FOLDER)

set(CMAKE_C_FLAGS_INIT "-g -gcodeview")
set(CMAKE_CXX_FLAGS_INIT "-g -gcodeview -stdlib++-isystem ${QZ_GCC_FOLDER}/include/c++ \
-stdlib++-isystem ${QZ_GCC_FOLDER}/include/c++/${QZ_MINGW}")
# The PDB is in the folder of its module, which names it without a folder. The stack has the size that GNU's
# linker gives it; lld's default is half of that.
find_program(QZ_LLD ld.lld-14 REQUIRED)
set(_qz_link "-B${QZ_GCC_FOLDER} -L${QZ_GCC_FOLDER} --ld-path=${QZ_LLD} -pthread \
-Wl,--pdb= -Wl,-Xlink=-pdbaltpath:%_PDB% -Wl,--stack,2097152 -Wno-unused-command-line-argument")
set(CMAKE_EXE_LINKER_FLAGS_INIT ${_qz_link})
set(CMAKE_SHARED_LINKER_FLAGS_INIT ${_qz_link})
set(CMAKE_MODULE_LINKER_FLAGS_INIT ${_qz_link})
