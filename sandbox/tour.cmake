add_executable(corvane-tour
    tour/TourConversation.cpp tour/TourDesktop.cpp tour/TourDesktop.h tour/TourScript.cpp tour/TourScript.h tour/TourSecondStart.cpp tour/TourSignIn.cpp tour/TourTroubles.cpp
    tour/Transcript.cpp tour/Transcript.h tour/main.cpp)
target_link_libraries(corvane-tour PRIVATE App DisplaySupport SoundSupport SessionSupport)
corvane_shows_windows(corvane-tour)
target_compile_definitions(corvane-tour PRIVATE CORVANE_VERSION="${PROJECT_VERSION}")
corvane_precompiled(corvane-tour)
corvane_warnings(corvane-tour)
set_target_properties(corvane-tour corvane-sandbox PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
add_dependencies(corvane-tour corvane-lumetra corvane-sandbox)
