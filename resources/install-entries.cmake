# Runs at installation: writes the files that name absolute paths for the prefix of this installation.
get_filename_component(prefix "${CMAKE_INSTALL_PREFIX}" ABSOLUTE)
if(prefix MATCHES "[\"`$%\\\\]")
    message(FATAL_ERROR "A desktop entry cannot name ${prefix}: choose a prefix without quotes, $, % and backslashes.")
endif()

# Quoted only where it has to be: some launchers take the first word of a command as it stands.
function(command_word path result)
    if(path MATCHES "[^A-Za-z0-9_/.,:+@=-]")
        set(path "\"${path}\"")
    endif()
    set(${result} "${path}" PARENT_SCOPE)
endfunction()

set(program "${prefix}/bin/corvane-lumetra")
command_word("${program}" service)
command_word("${program}-open" command)
set(entries applications/com.corvane.Lumetra.desktop dbus-1/services/com.corvane.Lumetra.service)
if(updater)
    list(APPEND entries polkit-1/actions/com.corvane.Lumetra.policy)
endif()
foreach(entry IN LISTS entries)
    get_filename_component(name ${entry} NAME)
    get_filename_component(folder ${entry} DIRECTORY)
    configure_file("${templates}/${name}.in" "${written}/${name}" @ONLY)
    file(INSTALL DESTINATION "${prefix}/share/${folder}" TYPE FILE FILES "${written}/${name}")
endforeach()

# Links find the entry by the folder's index. A package's tools bring it up to date themselves.
find_program(UPDATE_DESKTOP_DATABASE update-desktop-database)
if(UPDATE_DESKTOP_DATABASE AND "$ENV{DESTDIR}" STREQUAL "")
    execute_process(COMMAND "${UPDATE_DESKTOP_DATABASE}" -q "${prefix}/share/applications")
endif()
