# What every target of this tree is compiled with. Warnings become errors in the presets only
# (CMAKE_COMPILE_WARNING_AS_ERROR), so that an unknown compiler's new warning stops no packager.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# A library shows what is marked PLATFORM_API or UMONAT_API and nothing else.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion
                    $<$<CXX_COMPILER_ID:Clang>:-Wreserved-identifier>)

# A library that misses a symbol fails its own link, not that of the first program to use it. With
# clang the sanitizers' symbols are in the programs alone.
if(NOT UMO_FUZZ)
    add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>:LINKER:--no-undefined>)
endif()

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Kind of build" FORCE)
endif()
