# Its sound server is that of the tests.
if(TARGET SoundSupport)
    corvane_benchmark(CaptureFragments
        SOURCES capture/CaptureFragments.cpp ProcessUse.cpp ProcessUse.h
        LIBS PlatformAudio SoundSupport)
endif()
