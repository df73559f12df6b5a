# The program on the tests' fakes, its popover drawn by the software renderer.
if(TARGET ProgramSupport AND TARGET ViewsOverlay)
    corvane_benchmark(StreamingFrames SOURCES Figures.h PopoverWindow.h streaming/StreamingFrames.cpp
        LIBS ProgramSupport ViewsOverlay ViewsOverlayplugin ViewsSharedplugin)
endif()
