# Its sound server is that of the tests.
if(TARGET SoundSupport)
    corvane_benchmark(CaptureFragments
        SOURCES capture/CaptureFragments.cpp capture/ProcessCost.cpp capture/ProcessCost.h
        LIBS PlatformAudio SoundSupport)
endif()
