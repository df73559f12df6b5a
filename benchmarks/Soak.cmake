# The program on the real network layer against the sandbox as a process of its own; its sound is the tests' fake.
if(TARGET ProgramSupport)
    corvane_benchmark(InterviewSoak
        SOURCES soak/InterviewSoak.cpp soak/ScaledClock.h soak/SentSound.cpp soak/SentSound.h soak/SimulatedVoices.h
                soak/SoakFaults.cpp soak/SoakFaults.h soak/SoakRig.cpp soak/SoakRig.h
        LIBS ProgramSupport SQLite::SQLite3)
    corvane_shows_windows(InterviewSoak)
    set_target_properties(InterviewSoak PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
    add_dependencies(InterviewSoak corvane-sandbox)
endif()
corvane_benchmark(PowerCut SOURCES soak/PowerCut.cpp LIBS Services SQLite::SQLite3)
if(CORVANE_TESTS)
    add_test(NAME PowerCut COMMAND PowerCut)
    set_tests_properties(PowerCut PROPERTIES LABELS integration TIMEOUT 120)
endif()
