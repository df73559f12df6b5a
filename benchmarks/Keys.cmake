# The table as the tests give it keys: no display.
if(TARGET InputFakes)
    corvane_benchmark(KeyMatching SOURCES keys/KeyMatching.cpp ${limited} LIBS Services InputFakes Qt6::Gui)
endif()
