# Shared build rules: flags, precompiled headers, and helpers that make libraries, programs and tests.
include_guard()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
# moc of Qt 6.4 fails on <concepts> and <coroutine>; their include guards keep them out.
set(CORVANE_MOC_OPTIONS -D_GLIBCXX_CONCEPTS -D_GLIBCXX_COROUTINE)
set(CMAKE_AUTOMOC_MOC_OPTIONS ${CORVANE_MOC_OPTIONS})
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

find_program(CCACHE ccache)
if(CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" CCACHE_NOHASHDIR=true
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${CCACHE})
    add_compile_options(-fpch-preprocess)
endif()
find_program(MOLD mold)
if(MOLD)
    add_link_options(-fuse-ld=mold)
endif()
# Each layer is one library; a program needs only the shared libraries of the parts that it uses.
add_link_options(-Wl,--as-needed)

set(CORVANE_SANITIZE "" CACHE STRING "Sanitizers for the whole build: address,undefined or thread")
option(CORVANE_WERROR "Treat warnings as errors, as CI does" OFF)

# The compile options of all our targets. They share one code model, so that one precompiled header serves libraries and
# programs alike.
add_library(CorvaneOptions INTERFACE)
target_compile_options(CorvaneOptions INTERFACE -fPIC)
target_compile_definitions(CorvaneOptions INTERFACE QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII QT_NO_FOREACH _REENTRANT)
target_include_directories(CorvaneOptions INTERFACE "${CMAKE_SOURCE_DIR}/src" "${CMAKE_SOURCE_DIR}")

add_library(CorvaneWarnings INTERFACE)
target_compile_options(CorvaneWarnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${CORVANE_WERROR}>:-Werror>)

# Protection against faults that untrusted input could exploit. The sanitizers detect more, and these flags do not work with
# them.
add_library(CorvaneHardening INTERFACE)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo)$" AND NOT CORVANE_SANITIZE)
    target_compile_options(CorvaneHardening INTERFACE -fstack-protector-strong -fstack-clash-protection -Wformat
        -Werror=format-security $<$<IN_LIST:${CMAKE_SYSTEM_PROCESSOR},x86_64$<SEMICOLON>AMD64>:-fcf-protection>)
    target_compile_definitions(CorvaneHardening INTERFACE _FORTIFY_SOURCE=3)
    target_link_options(CorvaneHardening INTERFACE -pie -Wl,-z,relro,-z,now,-z,noexecstack)
endif()
target_link_libraries(CorvaneOptions INTERFACE CorvaneHardening)

if(CORVANE_SANITIZE)
    target_compile_options(CorvaneOptions INTERFACE -fsanitize=${CORVANE_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(CorvaneOptions INTERFACE -fsanitize=${CORVANE_SANITIZE})
    # The sanitizers' instrumentation confuses flow analysis in library headers.
    target_compile_options(CorvaneOptions INTERFACE -Wno-maybe-uninitialized)
    if(CORVANE_SANITIZE STREQUAL "thread")
        # Boost.Asio and the standard library use fences, about which the thread sanitizer warns.
        target_compile_options(CorvaneOptions INTERFACE -Wno-tsan)
    endif()
endif()

# A precompiled header belongs to an object library, from which other targets reuse it.
function(corvane_precompiled_header name header)
    file(CONFIGURE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp" CONTENT "")
    add_library(${name} OBJECT "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
    target_precompile_headers(${name} PRIVATE "${header}")
    target_link_libraries(${name} PRIVATE CorvaneOptions CorvaneWarnings ${ARGN})
endfunction()

# corvane_target(NAME [HEADER owner]): applies our flags, our warnings and a precompiled header, by default the program's.
function(corvane_target name)
    cmake_parse_arguments(arg "" "HEADER" "" ${ARGN})
    if(NOT arg_HEADER)
        set(arg_HEADER ProgramHeader)
    endif()
    target_link_libraries(${name} PRIVATE CorvaneOptions CorvaneWarnings QCoro6::Core)
    target_precompile_headers(${name} REUSE_FROM ${arg_HEADER})
endfunction()

# Compiles the sources of one folder together, `batch` of them at a time, because most of the time is spent in headers that
# they share.
function(corvane_batch_sources target batch)
    get_target_property(sources ${target} SOURCES)
    list(FILTER sources INCLUDE REGEX "\\.cpp$")
    set(last "")
    set(count 0)
    foreach(file IN LISTS sources)
        get_filename_component(folder "${file}" DIRECTORY)
        if(NOT folder STREQUAL last)
            set(last "${folder}")
            set(count 0)
        endif()
        math(EXPR number "${count} / ${batch}")
        math(EXPR count "${count} + 1")
        string(MAKE_C_IDENTIFIER "${folder}_${number}" group)
        get_source_file_property(chosen "${file}" UNITY_GROUP)
        if(NOT chosen)
            set_source_files_properties("${file}" PROPERTIES UNITY_GROUP ${group})
        endif()
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP UNITY_BUILD_UNIQUE_ID CORVANE_UNIT)
    # In a batch, too, the compiler must accept private types of a source file.
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
endfunction()

# corvane_library(NAME [BATCH n] SOURCES ... PUBLIC libs... PRIVATE libs...): adds a layer, whose sources are compiled
# n at a time, 12 by default.
function(corvane_library name)
    cmake_parse_arguments(arg "" "BATCH" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    if(NOT arg_BATCH)
        set(arg_BATCH 12)
    endif()
    add_library(${name} STATIC ${arg_SOURCES})
    target_link_libraries(${name} PUBLIC Qt6::Core ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
    corvane_target(${name})
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
    corvane_batch_sources(${name} ${arg_BATCH})
endfunction()

# Compiles the C++ that Qt generates from the QML files of `target` in a few batches instead of one file each, because most
# of the time is spent in Qt's private headers. The generated code does not meet our warning level.
function(corvane_batch_qml_cache target)
    get_target_property(sources ${target} SOURCES)
    set(generated ${sources})
    list(FILTER generated INCLUDE REGEX "qmlcache/.*_qml\\.cpp$")
    set_source_files_properties(${generated} PROPERTIES HEADER_FILE_ONLY ON SKIP_AUTOGEN ON)
    set(batch 0)
    set(text "")
    set(in_batch 0)
    list(APPEND generated end)
    foreach(file IN LISTS generated)
        if(file STREQUAL end OR in_batch EQUAL 40)
            set(unit "${CMAKE_CURRENT_BINARY_DIR}/${target}_qml_${batch}.cpp")
            file(CONFIGURE OUTPUT "${unit}" CONTENT "${text}")
            set_source_files_properties("${unit}" PROPERTIES COMPILE_OPTIONS "-w" SKIP_AUTOGEN ON
                SKIP_PRECOMPILE_HEADERS ON SKIP_UNITY_BUILD_INCLUSION ON)
            target_sources(${target} PRIVATE "${unit}")
            math(EXPR batch "${batch} + 1")
            set(text "")
            set(in_batch 0)
        endif()
        string(APPEND text "#include \"${file}\"\n")
        math(EXPR in_batch "${in_batch} + 1")
    endforeach()
    set_source_files_properties(${target}_qmltyperegistrations.cpp
        "${CMAKE_CURRENT_BINARY_DIR}/${target}_qmltyperegistrations.cpp"
        PROPERTIES COMPILE_OPTIONS "-w" SKIP_PRECOMPILE_HEADERS ON SKIP_UNITY_BUILD_INCLUSION ON)
    foreach(part ${target}_qmlcache ${target}plugin_init ${target}_resources_1 ${target}_resources_2 ${target}_resources_3)
        if(TARGET ${part})
            set_target_properties(${part} PROPERTIES AUTOMOC OFF)
        endif()
    endforeach()
endfunction()

# corvane_program(NAME SOURCES ... LIBS ...)
function(corvane_program name)
    cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE ${arg_LIBS})
    corvane_target(${name})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
endfunction()

# The tests that run with the thread sanitizer: those with the label "threads".
add_custom_target(thread-tests)
add_custom_target(unit-tests)

# corvane_test(NAME LABEL unit|integration|desktop [threads] [SOURCES ...] [LIBS ...] [TIMEOUT s])
# NAME.cpp contains the test and includes NAME.moc at its end.
function(corvane_test name)
    cmake_parse_arguments(arg "" "TIMEOUT" "LABEL;SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${name}.cpp ${arg_SOURCES})
    qt_generate_moc(${name}.cpp "${CMAKE_CURRENT_BINARY_DIR}/${name}.moc" TARGET ${name})
    target_sources(${name} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${name}.moc")
    set_source_files_properties("${CMAKE_CURRENT_BINARY_DIR}/${name}.moc" PROPERTIES HEADER_FILE_ONLY ON)
    target_include_directories(${name} PRIVATE "${CMAKE_CURRENT_BINARY_DIR}")
    target_link_libraries(${name} PRIVATE Qt6::Test TestSupport ${arg_LIBS})
    corvane_target(${name} HEADER TestHeader)
    add_test(NAME ${name} COMMAND ${name})
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 60)
    endif()
    if("threads" IN_LIST arg_LABEL)
        add_dependencies(thread-tests ${name})
    endif()
    if("unit" IN_LIST arg_LABEL)
        add_dependencies(unit-tests ${name})
    endif()
    # Graphics libraries leak memory at exit; the other checks of the address sanitizer also apply to windows.
    set(leaks "")
    if("desktop" IN_LIST arg_LABEL)
        set(leaks "ASAN_OPTIONS=detect_leaks=0;")
    endif()
    set_tests_properties(${name} PROPERTIES LABELS "${arg_LABEL}" TIMEOUT ${arg_TIMEOUT}
        ENVIRONMENT "${leaks}QT_LOGGING_RULES=;TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/tsan.supp;LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/lsan.supp;UBSAN_OPTIONS=print_stacktrace=1")
endfunction()
