# Shared build rules: flags, one precompiled header for every target, helpers for libraries and tests.
include_guard()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_AUTOMOC ON)
# moc of Qt 6.4 stumbles over <concepts> and <coroutine>; their include guards keep it out.
set(CMAKE_AUTOMOC_MOC_OPTIONS -D_GLIBCXX_CONCEPTS -D_GLIBCXX_COROUTINE)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

# One code model everywhere, so that one precompiled header serves libraries and programs alike.
add_compile_options(-fPIC)
add_compile_definitions(QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII QT_NO_FOREACH _REENTRANT)

find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${CCACHE})
    add_compile_options(-fpch-preprocess)
endif()
find_program(MOLD mold)
if(MOLD)
    add_link_options(-fuse-ld=mold)
endif()

# What outsiders' bytes could abuse is caught or has no fixed place. The sanitizers see more, and do not go with it.
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT CORVANE_SANITIZE)
    add_compile_options(-fstack-protector-strong -fstack-clash-protection -Wformat -Werror=format-security)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
        add_compile_options(-fcf-protection)
    endif()
    add_compile_definitions(_FORTIFY_SOURCE=3)
    add_link_options(-pie -Wl,-z,relro,-z,now,-z,noexecstack)
endif()

set(CORVANE_SANITIZE "" CACHE STRING "Sanitizers for the whole build: address,undefined or thread")
if(CORVANE_SANITIZE)
    add_compile_options(-fsanitize=${CORVANE_SANITIZE} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${CORVANE_SANITIZE})
    # The sanitizers' own instrumentation trips flow analysis in library headers.
    add_compile_options(-Wno-maybe-uninitialized)
    if(CORVANE_SANITIZE STREQUAL "thread")
        # Boost.Asio and the standard library use fences, which the thread sanitizer warns about.
        add_compile_options(-Wno-tsan)
    endif()
endif()

function(corvane_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
endfunction()

function(corvane_precompiled target)
    target_precompile_headers(${target} REUSE_FROM Precompiled)
    target_link_libraries(${target} PRIVATE QCoro6::Core Boost::json)
endfunction()

# corvane_library(NAME SOURCES ... PUBLIC libs... PRIVATE libs...)
# A layer: its own folder is its include path, so only those who link it can include it.
function(corvane_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}")
    target_link_libraries(${name} PUBLIC Qt6::Core ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
    corvane_precompiled(${name})
    corvane_warnings(${name})
endfunction()

# corvane_qml_module(NAME URI uri SOURCES ... QML_FILES ... RESOURCES ... IMPORTS uris... PUBLIC libs... PRIVATE libs...)
# A folder of views: the QML files, compiled in, and the C++ beside them. Who shows it links NAME and NAMEplugin.
function(corvane_qml_module name)
    cmake_parse_arguments(arg "" "URI" "SOURCES;QML_FILES;RESOURCES;IMPORTS;PUBLIC;PRIVATE" ${ARGN})
    qt_add_library(${name} STATIC)
    target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}")
    target_link_libraries(${name} PUBLIC Qt6::Qml Qt6::Quick ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
    qt_add_qml_module(${name} URI ${arg_URI} VERSION 1.0 RESOURCE_PREFIX /qt/qml SOURCES ${arg_SOURCES}
        QML_FILES ${arg_QML_FILES} RESOURCES ${arg_RESOURCES} IMPORTS ${arg_IMPORTS})
    corvane_precompiled(${name})
    corvane_warnings(${name})
    # What Qt generates does not keep to our warnings.
    get_target_property(sources ${name} SOURCES)
    list(FILTER sources INCLUDE REGEX "qmlcache|qmltyperegistrations|_init.cpp")
    set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS "-w" SKIP_PRECOMPILE_HEADERS ON)
    set_source_files_properties(${name}_qmltyperegistrations.cpp
        "${CMAKE_CURRENT_BINARY_DIR}/${name}_qmltyperegistrations.cpp" PROPERTIES COMPILE_OPTIONS "-w")
endfunction()

# A program that shows the windows. The modules register their types by objects that a library would drop.
function(corvane_shows_windows target)
    target_link_libraries(${target} PRIVATE Windows ViewsAuthplugin ViewsDashboardplugin ViewsOverlayplugin
        ViewsSharedplugin)
    if(CORVANE_UPDATER)
        target_link_libraries(${target} PRIVATE ViewsUpdatesplugin)
    endif()
endfunction()

# What the thread sanitizer looks at: the tests with the label "threads".
add_custom_target(thread-tests)

# corvane_test(NAME LABEL unit|integration|desktop [threads] SOURCES ... LIBS ... [TIMEOUT s])
function(corvane_test name)
    cmake_parse_arguments(arg "" "TIMEOUT" "LABEL;SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test ${arg_LIBS})
    corvane_precompiled(${name})
    corvane_warnings(${name})
    add_test(NAME ${name} COMMAND ${name})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 60)
    endif()
    if("threads" IN_LIST arg_LABEL)
        add_dependencies(thread-tests ${name})
    endif()
    # What the graphics libraries hold at the end is theirs; the rest of the address sanitizer looks at windows too.
    set(leaks "")
    if("desktop" IN_LIST arg_LABEL)
        set(leaks "ASAN_OPTIONS=detect_leaks=0;")
    endif()
    set_tests_properties(${name} PROPERTIES LABELS "${arg_LABEL}" TIMEOUT ${arg_TIMEOUT}
        ENVIRONMENT "${leaks}QT_LOGGING_RULES=;TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/tsan.supp;LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/lsan.supp;UBSAN_OPTIONS=print_stacktrace=1")
endfunction()
