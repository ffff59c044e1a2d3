# SPDX-FileCopyrightText: The power daemon authors
# SPDX-License-Identifier: MIT

# Adds the static library TARGET with one client class per pair "ClassName description.xml".
# Generated code is compiled without our warning flags; its headers are system headers for whoever links the library.
# HEADERS_ONLY generates only the headers, for a platform whose own library has the compiled classes.
function(zelt_add_dbus_clients TARGET)
    cmake_parse_arguments(ARG "HEADERS_ONLY" "" "CLIENTS" ${ARGN})
    set(client_sources)
    while(ARG_CLIENTS)
        list(POP_FRONT ARG_CLIENTS class description)
        set_source_files_properties(${description} PROPERTIES CLASSNAME ${class} NO_NAMESPACE TRUE)
        qt_add_dbus_interface(client_sources ${description} ${class})
    endwhile()
    if(ARG_HEADERS_ONLY)
        list(FILTER client_sources INCLUDE REGEX "\\.h$")
        add_library(${TARGET} INTERFACE)
        target_sources(${TARGET} PRIVATE ${client_sources})
        add_custom_target(${TARGET}_headers DEPENDS ${client_sources})
        add_dependencies(${TARGET} ${TARGET}_headers)
        target_link_libraries(${TARGET} INTERFACE Qt6::DBus)
        target_include_directories(${TARGET} SYSTEM INTERFACE ${CMAKE_CURRENT_BINARY_DIR})
    else()
        add_library(${TARGET} STATIC ${client_sources})
        set_target_properties(${TARGET} PROPERTIES AUTOMOC OFF)
        target_link_libraries(${TARGET} PUBLIC Qt6::DBus)
        zelt_make_lean(${TARGET})
        target_include_directories(${TARGET} SYSTEM PUBLIC ${CMAKE_CURRENT_BINARY_DIR})
    endif()
endfunction()
