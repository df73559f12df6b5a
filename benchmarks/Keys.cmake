# The table as the tests give it keys: no display.
if(TARGET InputFakes)
    corvane_benchmark(KeyMatching SOURCES keys/KeyMatching.cpp
        LIBS Services InputFakes Qt6::Gui benchmark::benchmark_main)
endif()
