# Makes an import library for Microsoft's linker. It has only a DLL's flat functions, because the linker cannot
# use another compiler's C++ names. cmake -D DEFINITIONS=all.def -D NAME=x.dll -D LIBRARY=x.lib -D DLLTOOL=... -P
file(STRINGS ${DEFINITIONS} lines)
list(FILTER lines EXCLUDE REGEX "^ *_Z|^(LIBRARY|EXPORTS)")
list(TRANSFORM lines REPLACE " @[0-9]+" "")
list(JOIN lines "\n" names)
cmake_path(REPLACE_EXTENSION LIBRARY LAST_ONLY def OUTPUT_VARIABLE flat)
file(WRITE ${flat} "LIBRARY \"${NAME}\"\nEXPORTS\n${names}\n")
execute_process(COMMAND ${DLLTOOL} -m i386:x86-64 -d ${flat} -l ${LIBRARY} COMMAND_ERROR_IS_FATAL ANY)
