# umo_room_by_room(TARGET): with UMO_UNITY, compiles each folder's sources as one file: most of
# clang's time is the headers'. So names in unnamed namespaces must differ within a folder. Sources
# with compile options of their own are compiled alone.
function(umo_room_by_room target)
    if(NOT UMO_UNITY)
        return()
    endif()
    get_target_property(sources ${target} SOURCES)
    foreach(source IN LISTS sources)
        if(source MATCHES "\\.cpp$")
            get_filename_component(folder "${source}" DIRECTORY)
            string(MAKE_C_IDENTIFIER "${folder}" group)
            set_source_files_properties("${source}" PROPERTIES UNITY_GROUP "${group}")
        endif()
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
endfunction()
