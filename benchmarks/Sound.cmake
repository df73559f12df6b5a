pkg_check_modules(SoundPeers IMPORTED_TARGET sndfile speexdsp webrtc-audio-processing)
if(NOT SoundPeers_FOUND)
    message(STATUS "No sound benchmarks: they need libsndfile, SpeexDSP and WebRTC's audio processing")
    return()
endif()

corvane_benchmark(SoundBenchmark
    SOURCES sound/DetectorBenchmark.cpp sound/EncoderBenchmark.cpp sound/InterviewBenchmark.cpp sound/PlainLevel.cpp
            sound/PlainLevel.h sound/TestSignal.h ${limited}
    LIBS Services PkgConfig::SoundPeers)
# The yardstick: what one would write first, at the usual optimisation.
set_source_files_properties(sound/PlainLevel.cpp PROPERTIES COMPILE_OPTIONS "-O2" SKIP_PRECOMPILE_HEADERS ON)
