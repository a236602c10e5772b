# SPDX-License-Identifier: LGPL-2.1-or-later
# Warnings, sanitizers and visibility, the same for every target of the tree.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

# Distributions build with -O2, so that is what is tested and measured; CMake's own choice is -O3.
if(qvcommon_is_top_level)
    set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
    string(REPLACE "-O3" "-O2" CMAKE_CXX_FLAGS_RELEASE "${CMAKE_CXX_FLAGS_RELEASE}")
endif()

if(QVCOMMON_WARNINGS)
    add_compile_options(-Wall -Wextra -Wconversion)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options(-Wcast-align=strict)
    else()
        add_compile_options(-Wcast-align)
    endif()
endif()
if(QVCOMMON_WERROR)
    add_compile_options(-Werror)
endif()

# The board's flash is small: Qt's larger inline functions are called there, not copied to every
# place of use, which saves a sixth of the library.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^armv5" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options("SHELL:--param max-inline-insns-single=12")
    add_compile_options(-Wno-psabi) # notes for those who link objects of GCC 6
endif()

if(QVCOMMON_SANITIZE)
    add_compile_options(-fsanitize=${QVCOMMON_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${QVCOMMON_SANITIZE})
endif()
