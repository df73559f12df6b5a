# The pictures of the symbols: <name>=<file of Bootstrap Icons>. Only these are compiled in.
set(CORVANE_SYMBOLS
    arrow.clockwise=arrow-clockwise
    arrow.down.circle=arrow-down-circle
    arrow.right.circle.fill=arrow-right-circle-fill
    arrow.trianglehead.2.clockwise=arrow-repeat
    arrow.up.circle.fill=arrow-up-circle-fill
    arrow.up.right.square=box-arrow-up-right
    arrowtriangle.right.fill=caret-right-fill
    checkmark=check-lg
    checkmark.circle=check-circle
    chevron.down=chevron-down
    chevron.left=chevron-left
    chevron.right=chevron-right
    chevron.up=chevron-up
    chevron.up.chevron.down=chevron-expand
    exclamationmark.circle.fill=exclamation-circle-fill
    exclamationmark.triangle=exclamation-triangle
    exclamationmark.triangle.fill=exclamation-triangle-fill
    gear=gear
    gearshape=gear
    house=house
    keyboard=keyboard
    mic.fill=mic-fill
    mic.slash=mic-mute
    pause.fill=pause-fill
    person.crop.circle=person-circle
    person.crop.circle.fill=person-circle
    play.fill=play-fill
    power=power
    shield.trianglebadge.exclamationmark=shield-exclamation
    sparkles=stars
    speaker.wave.2=volume-up
    stop.fill=stop-fill
    text.bubble=chat-text
    wifi=wifi
    wifi.slash=wifi-off
    xmark=x-lg)

# corvane_symbols(target) adds the pictures as :/symbols/<name>.svg.
function(corvane_symbols target)
    find_path(BOOTSTRAP_ICONS_DIR gear.svg PATHS /usr/share/bootstrap-icons/svg /usr/share/icons/bootstrap-icons REQUIRED)
    set(files)
    foreach(symbol IN LISTS CORVANE_SYMBOLS)
        string(REPLACE "=" ";" pair ${symbol})
        list(GET pair 0 name)
        list(GET pair 1 picture)
        configure_file("${BOOTSTRAP_ICONS_DIR}/${picture}.svg" "${CMAKE_CURRENT_BINARY_DIR}/symbols/${name}.svg" COPYONLY)
        set_source_files_properties("${CMAKE_CURRENT_BINARY_DIR}/symbols/${name}.svg" PROPERTIES QT_RESOURCE_ALIAS "${name}.svg")
        list(APPEND files "${CMAKE_CURRENT_BINARY_DIR}/symbols/${name}.svg")
    endforeach()
    qt_add_resources(${target} symbols PREFIX /symbols FILES ${files})
endfunction()
