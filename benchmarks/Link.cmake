# The peer of the benchmark is the tests' own.
if(TARGET NetworkTestSupport)
    corvane_benchmark(LinkLatency SOURCES Figures.h link/LinkLatency.cpp LIBS NetworkTestSupport)
endif()
# The link as the tests set it up: no network, no wall clock.
if(TARGET NetworkFakes)
    corvane_benchmark(ParseMessages SOURCES link/ParseMessages.cpp ${limited} LIBS Services NetworkFakes StorageFakes)
    target_include_directories(ParseMessages PRIVATE ${CMAKE_SOURCE_DIR}/tests/Services/Link
        ${CMAKE_SOURCE_DIR}/tests/Services/Identity)
endif()
