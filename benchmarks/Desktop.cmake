# The program's windows from outside, beside a bare window and a peer.
add_executable(BareQuickWindow desktop/BareQuickWindow.cpp)
target_link_libraries(BareQuickWindow PRIVATE Qt6::Quick)
corvane_precompiled(BareQuickWindow)
corvane_warnings(BareQuickWindow)
corvane_benchmark(WindowFootprint
    SOURCES Figures.h ProcessUse.cpp ProcessUse.h desktop/Sight.cpp desktop/Sight.h desktop/WindowFootprint.cpp
    LIBS DisplaySupport SessionSupport SoundSupport PkgConfig::Xcb)
add_dependencies(WindowFootprint BareQuickWindow corvane-lumetra)
set_target_properties(BareQuickWindow WindowFootprint PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

# A minute of work on the tour's desktop, signed in with the program's own services.
if(TARGET ProgramSupport)
    set(tour ${CMAKE_SOURCE_DIR}/sandbox/tour)
    corvane_benchmark(InterviewMinute
        SOURCES Figures.h ProcessUse.cpp ProcessUse.h desktop/InterviewMinute.cpp
                ${tour}/TourDesktop.cpp ${tour}/TourDesktop.h
        LIBS ProgramSupport DisplaySupport SessionSupport SoundSupport)
    target_include_directories(InterviewMinute PRIVATE ${tour})
    target_compile_definitions(InterviewMinute PRIVATE CORVANE_VERSION="${PROJECT_VERSION}")
    corvane_shows_windows(InterviewMinute)
    set_target_properties(InterviewMinute PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
    add_dependencies(InterviewMinute corvane-lumetra corvane-sandbox)
endif()
