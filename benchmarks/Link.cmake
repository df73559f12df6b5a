# The peer of the benchmark is the tests' own.
if(TARGET NetworkTestSupport)
    corvane_benchmark(LinkLatency SOURCES link/LinkLatency.cpp LIBS NetworkTestSupport)
endif()
