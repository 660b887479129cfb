# cmake -DSOURCE=DIR -DOUTPUT=FILE -P buildcommit.cmake: writes FILE, a C++ source defining
# BuildInfo::commit() as the abbreviated hash of the commit checked out in DIR. It runs on every
# build and rewrites FILE only when the hash changed, so that a new commit recompiles that one file.
# A source that is not a git checkout of its own (a tarball, even one unpacked inside another
# repository), or a machine without git, gives an empty hash.
unset(ENV{GIT_DIR})
unset(ENV{GIT_WORK_TREE})
set(commit "")
find_program(git_program git)
if(git_program)
    execute_process(COMMAND "${git_program}" -C "${SOURCE}" rev-parse --show-toplevel
        OUTPUT_VARIABLE top RESULT_VARIABLE failed OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
    if(NOT failed)
        file(REAL_PATH "${top}" top)
        file(REAL_PATH "${SOURCE}" source)
        if(top STREQUAL source)
            execute_process(COMMAND "${git_program}" -C "${SOURCE}" rev-parse --short=7 --verify -q HEAD
                OUTPUT_VARIABLE hash RESULT_VARIABLE failed OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
            if(NOT failed AND hash MATCHES "^[0-9a-f]+$")
                set(commit "${hash}")
            endif()
        endif()
    endif()
endif()

set(content "// Written by cmake/buildcommit.cmake at build time.\n#include \"model/buildinfo.h\"\n\n\
QString BuildInfo::commit()\n{\n    return QStringLiteral(\"${commit}\");\n}\n")
set(old "")
if(EXISTS "${OUTPUT}")
    file(READ "${OUTPUT}" old)
endif()
if(NOT old STREQUAL content)
    file(WRITE "${OUTPUT}" "${content}")
endif()
