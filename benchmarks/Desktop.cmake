# The program's windows from outside, beside a bare window and a peer.
add_executable(BareQuickWindow desktop/BareQuickWindow.cpp)
target_link_libraries(BareQuickWindow PRIVATE Qt6::Quick)
corvane_precompiled(BareQuickWindow)
corvane_warnings(BareQuickWindow)
corvane_benchmark(WindowFootprint
    SOURCES desktop/Sight.cpp desktop/Sight.h desktop/WindowFootprint.cpp
    LIBS DisplaySupport SessionSupport SoundSupport PkgConfig::Xcb)
set_target_properties(BareQuickWindow WindowFootprint PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
add_dependencies(WindowFootprint BareQuickWindow corvane-lumetra)
