# The program on the real network layer against the sandbox as a process of its own; its sound is the tests' fake.
if(TARGET ProgramSupport)
    corvane_benchmark(StreamingSoak SOURCES soak/StreamingSoak.cpp LIBS ProgramSupport)
    set_target_properties(StreamingSoak PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
    add_dependencies(StreamingSoak corvane-sandbox)
endif()
