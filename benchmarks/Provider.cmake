# A provider's stream over a real connection into the program's models, and the popover that shows them.
if(TARGET ProgramSupport AND TARGET ViewsOverlay AND TARGET ProviderTestSupport)
    corvane_benchmark(ProviderStream SOURCES Figures.h PopoverWindow.h streaming/ProviderStream.cpp
        LIBS ProgramSupport ProviderTestSupport ViewsOverlay ViewsOverlayplugin ViewsSharedplugin)
    target_include_directories(ProviderStream PRIVATE ${CMAKE_SOURCE_DIR}/tests/Services/Provider)
endif()
