# Reads CORVANE_DEPLOYMENT, a JSON file with the values of a deployment, and sets a variable for each of them. A wrong value
# ends the configuration with the reason. `cmake -DCORVANE_DEPLOYMENT=file -P cmake/Deployment.cmake` only checks the file.
cmake_minimum_required(VERSION 3.25)

# The name in the file, the variable and the type of each value.
set(deployment_values
    endpoint CORVANE_DEFAULT_ENDPOINT endpoint
    publishableKey CORVANE_CLERK_PUBLISHABLE_KEY publishable_key
    signUpPage CORVANE_PLATFORM_SIGN_UP_URL page
    onboardingVideo CORVANE_ONBOARDING_VIDEO_URL page
    updateFeed CORVANE_UPDATE_FEED_URL feed
    updateKey CORVANE_UPDATE_PUBLIC_KEY update_key)

function(deployment_refuse name value reason)
    message(FATAL_ERROR "${CORVANE_DEPLOYMENT}: ${name} is \"${value}\": ${reason}")
endfunction()

# Checks parts of an address that the pattern does not cover: eight groups or fewer with one gap, a valid port, complete
# escapes.
function(deployment_check_address_parts name value)
    if(value MATCHES "^https?://\\[([^]]*)\\]")
        set(groups "${CMAKE_MATCH_1}")
        string(REGEX MATCHALL "[0-9A-Fa-f]+" counted "${groups}")
        list(LENGTH counted count)
        string(REGEX MATCHALL "::" gaps "${groups}")
        list(LENGTH gaps gap_count)
        if(groups MATCHES ":::" OR groups MATCHES "[0-9A-Fa-f][0-9A-Fa-f][0-9A-Fa-f][0-9A-Fa-f][0-9A-Fa-f]"
           OR groups MATCHES "^:[^:]" OR groups MATCHES "[^:]:$" OR gap_count GREATER 1
           OR (gap_count EQUAL 0 AND NOT count EQUAL 8) OR (gap_count EQUAL 1 AND count GREATER 7))
            deployment_refuse(${name} "${value}" "${groups} is not an IPv6 address.")
        endif()
    endif()
    if(value MATCHES "^https?://([^/?[]*|\\[[^]]*\\]):([0-9]+)")
        set(port "${CMAKE_MATCH_2}")
        if(NOT port MATCHES "^[1-9][0-9]?[0-9]?[0-9]?[0-9]?$" OR port GREATER 65535)
            deployment_refuse(${name} "${value}" "ports are 1 to 65535.")
        endif()
    endif()
    string(REGEX REPLACE "%[0-9A-Fa-f][0-9A-Fa-f]" "" unescaped "${value}")
    if(unescaped MATCHES "%")
        deployment_refuse(${name} "${value}" "a percent sign must be followed by two hexadecimal digits.")
    endif()
endfunction()

function(deployment_check_address name value)
    set(host "([A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?\\.)*[A-Za-z0-9]([A-Za-z0-9-]*[A-Za-z0-9])?|\\[[0-9A-Fa-f:]+\\]")
    set(rest "(:[0-9]+)?(/[A-Za-z0-9._~!$&'()*+,;=:@%/-]*)?(\\?[A-Za-z0-9._~!$&'()*+,;=:@%/?-]*)?")
    if(NOT value MATCHES "^https?://(${host})${rest}$")
        deployment_refuse(${name} "${value}" "this is not an http or https address.")
    endif()
    deployment_check_address_parts(${name} "${value}")
    if(value MATCHES "^http:" AND NOT value MATCHES "^http://(localhost|127\\.0\\.0\\.1|\\[::1\\])(:[0-9]+)?(/|$)")
        deployment_refuse(${name} "${value}" "only an address of this machine may do without TLS.")
    endif()
endfunction()

function(deployment_check_endpoint name value)
    deployment_check_address(${name} "${value}")
    if(value MATCHES "/$" OR value MATCHES "\\?")
        deployment_refuse(${name} "${value}" "paths are appended to it, so it must not end with a slash or have a query.")
    endif()
endfunction()

function(deployment_check_page name value)
    deployment_check_address(${name} "${value}")
endfunction()

function(deployment_check_feed name value)
    deployment_check_address(${name} "${value}")
    if(NOT value MATCHES "^https:")
        deployment_refuse(${name} "${value}" "updates are fetched over TLS only.")
    endif()
endfunction()

# pk_test_ or pk_live_, followed by the base64 of the sign-in service's host, in lower case as the program requires, and a
# dollar sign.
function(deployment_check_publishable_key name value)
    set(shape "pk_test_ or pk_live_ followed by the base64 of the sign-in service's host and a dollar sign.")
    if(NOT value MATCHES "^pk_(test|live)_([A-Za-z0-9+/]+=?=?)$")
        deployment_refuse(${name} "${value}" "a publishable key is ${shape}")
    endif()
    set(encoded "${CMAKE_MATCH_2}")
    string(REGEX REPLACE "=+$" "" encoded "${encoded}")
    string(LENGTH "${encoded}" length)
    math(EXPR missing "(4 - ${length} % 4) % 4")
    string(REPEAT "=" ${missing} padding) # which the key may leave out
    execute_process(COMMAND printf "%s" "${encoded}${padding}" COMMAND base64 --decode OUTPUT_VARIABLE host RESULT_VARIABLE failed
                    ERROR_QUIET)
    if(failed OR NOT host MATCHES "^([a-z0-9]([a-z0-9-]*[a-z0-9])?\\.)*[a-z0-9]([a-z0-9-]*[a-z0-9])?\\$$")
        deployment_refuse(${name} "${value}" "a publishable key is ${shape}")
    endif()
endfunction()

# 32 bytes are 43 characters of base64 and one padding character.
function(deployment_check_update_key name value)
    string(LENGTH "${value}" length)
    if(NOT length EQUAL 44 OR NOT value MATCHES "^[A-Za-z0-9+/]+=$")
        deployment_refuse(${name} "${value}" "a public Ed25519 key is 32 bytes in base64.")
    endif()
endfunction()

macro(deployment_read)
    if(NOT EXISTS "${CORVANE_DEPLOYMENT}")
        message(FATAL_ERROR "CORVANE_DEPLOYMENT names \"${CORVANE_DEPLOYMENT}\", but that file does not exist.")
    endif()
    file(READ "${CORVANE_DEPLOYMENT}" deployment_text)
    string(JSON deployment_count ERROR_VARIABLE deployment_error LENGTH "${deployment_text}")
    if(deployment_error)
        message(FATAL_ERROR "${CORVANE_DEPLOYMENT} is not a JSON object: ${deployment_error}")
    endif()
    set(deployment_left ${deployment_values})
    set(deployment_names "")
    while(deployment_left)
        list(POP_FRONT deployment_left deployment_name deployment_variable deployment_kind)
        list(APPEND deployment_names ${deployment_name})
        string(JSON deployment_type ERROR_VARIABLE deployment_error TYPE "${deployment_text}" ${deployment_name})
        if(deployment_name MATCHES "^update" AND deployment_type MATCHES "NOTFOUND$")
            set(${deployment_variable} "")
            continue()
        endif()
        if(NOT deployment_type STREQUAL "STRING")
            message(FATAL_ERROR "${CORVANE_DEPLOYMENT} has no text for ${deployment_name}.")
        endif()
        string(JSON ${deployment_variable} GET "${deployment_text}" ${deployment_name})
        cmake_language(CALL deployment_check_${deployment_kind} ${deployment_name} "${${deployment_variable}}")
    endwhile()
    # Without both values, the program says that new versions come from where this one came from.
    if("${CORVANE_UPDATE_FEED_URL}" STREQUAL "" AND NOT "${CORVANE_UPDATE_PUBLIC_KEY}" STREQUAL ""
       OR "${CORVANE_UPDATE_PUBLIC_KEY}" STREQUAL "" AND NOT "${CORVANE_UPDATE_FEED_URL}" STREQUAL "")
        message(FATAL_ERROR "${CORVANE_DEPLOYMENT} has only one of updateFeed and updateKey, which belong together.")
    endif()
    math(EXPR deployment_last "${deployment_count} - 1")
    foreach(deployment_index RANGE ${deployment_last})
        string(JSON deployment_name MEMBER "${deployment_text}" ${deployment_index})
        if(NOT deployment_name IN_LIST deployment_names)
            list(JOIN deployment_names ", " deployment_known)
            message(FATAL_ERROR "${CORVANE_DEPLOYMENT} has an unknown name, ${deployment_name}. The known names are: ${deployment_known}.")
        endif()
    endforeach()
endmacro()

deployment_read()
