# A router's own two libraries: what the daemon calls of them, and how it is linked without depending on their version.

set(csman_calls open_csman read_csman read_csman_int write_csman_int close_csman)
set(utils_calls _exec_cmd)

# dashboard_machine_of(FILE RESULT): the lines of an ELF file's header that say what machine it is for.
function(dashboard_machine_of file result)
    execute_process(COMMAND ${CMAKE_READELF} -h ${file}
        OUTPUT_VARIABLE header ERROR_QUIET RESULT_VARIABLE status)
    set(machine "")
    if(status EQUAL 0)
        string(REGEX MATCHALL "(Class|Data|Machine): +[^\n]+" lines "${header}")
        list(TRANSFORM lines REPLACE " +" " ")
        list(JOIN lines ", " machine)
    endif()
    set(${result} "${machine}" PARENT_SCOPE)
endfunction()

# dashboard_check_router_library(NAME CALL...): ends the configuration, in words, unless libNAME.so is there, is built
# for the machine that the compiler builds for, and offers every call.
function(dashboard_check_router_library name)
    set(file ${DASHBOARD_PLATFORM_DIR}/lib${name}.so)
    if(NOT EXISTS ${file})
        message(FATAL_ERROR "${file} is missing. "
            "DASHBOARD_PLATFORM_DIR has to name a folder with the router's own libcsman.so and libutils.so.")
    endif()
    dashboard_machine_of(${file} machine)
    if(machine STREQUAL "")
        message(FATAL_ERROR "${file} is no shared library. "
            "A linker script or a static library will not do: take the file that the router itself loads.")
    endif()
    set(probe ${CMAKE_CURRENT_BINARY_DIR}/machine.o)
    separate_arguments(flags UNIX_COMMAND "${CMAKE_C_FLAGS}")
    execute_process(COMMAND ${CMAKE_C_COMPILER} ${flags} -x c -c /dev/null -o ${probe} COMMAND_ERROR_IS_FATAL ANY)
    dashboard_machine_of(${probe} wanted)
    if(NOT machine STREQUAL wanted)
        message(FATAL_ERROR "${file} is for another machine than ${CMAKE_C_COMPILER} builds for.\n"
            "  library: ${machine}\n  compiler: ${wanted}\n"
            "Name the toolchain file of the router's compiler: -DCMAKE_TOOLCHAIN_FILE=...")
    endif()
    execute_process(COMMAND ${CMAKE_READELF} --wide --dyn-syms ${file}
        OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
    set(missing "")
    foreach(call ${ARGN})
        # Number, value, size, type, bind, visibility, section ("UND" where it is only used), name and perhaps version.
        if(NOT symbols MATCHES " FUNC +(GLOBAL|WEAK) +[A-Z]+ +(\\[[^]]*\\] +)?[0-9]+ ${call}(@[^\n]*)?\n")
            list(APPEND missing ${call})
        endif()
    endforeach()
    if(missing)
        list(JOIN missing ", " missing)
        message(FATAL_ERROR "${file} does not offer: ${missing}. "
            "platform/${name}.h says what the daemon calls; a library of another release may name it otherwise.")
    endif()
endfunction()

# dashboard_link_library(NAME CALL...): target NAME_link, an empty library of the plain name libNAME.so that offers the
# calls. The daemon is linked against it and not against the router's file, whose own name may carry a version and whose
# needs may be missing here: so the daemon asks for "libNAME.so", whatever release the router has.
function(dashboard_link_library name)
    set(text "/* Generated: names to link against, never run. */\n")
    foreach(call ${ARGN})
        string(APPEND text "void ${call}(void);\nvoid ${call}(void) {}\n")
    endforeach()
    file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/link/${name}.c CONTENT "${text}" @ONLY)
    add_library(${name}_link SHARED ${CMAKE_CURRENT_BINARY_DIR}/link/${name}.c)
    set_target_properties(${name}_link PROPERTIES
        OUTPUT_NAME ${name}
        LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/link)
    target_link_options(${name}_link PRIVATE -nostdlib)
endfunction()

foreach(name csman utils)
    dashboard_check_router_library(${name} ${${name}_calls})
    dashboard_link_library(${name} ${${name}_calls})
endforeach()
