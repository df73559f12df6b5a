# The program on the tests' fakes, its popover drawn by the software renderer.
if(TARGET ProgramSupport AND TARGET ViewsOverlay)
    corvane_benchmark(Growth SOURCES PopoverWindow.h growth/Growth.cpp
        LIBS ProgramSupport ViewsOverlay ViewsOverlayplugin ViewsSharedplugin)
endif()
