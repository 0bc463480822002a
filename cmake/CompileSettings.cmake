# Compile settings for every target. Warnings become errors only in the presets
# (CMAKE_COMPILE_WARNING_AS_ERROR), so a new warning of an unknown compiler stops no packager.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# A library exports only what is marked PLATFORM_API or UMONAT_API.
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion
                    $<$<CXX_COMPILER_ID:Clang>:-Wreserved-identifier>)

# A library with a missing symbol fails at its own link, not in the first program that uses it. With
# clang only the programs contain the sanitizers' symbols.
if(NOT UMO_FUZZ)
    add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>:LINKER:--no-undefined>)
endif()

# All symbols are bound at the start, not each at its first use, which may be in the middle of a
# failover; and nobody can bind them anew.
add_link_options(LINKER:-z,relro,-z,now)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Kind of build" FORCE)
endif()
