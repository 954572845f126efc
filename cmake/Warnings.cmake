# kernova_warnings: an interface target that every project target links.
add_library(kernova_warnings INTERFACE)
target_compile_options(kernova_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast
    -Wcast-align -Woverloaded-virtual -Wconversion -Wsign-conversion
    -Wimplicit-fallthrough)
if(KERNOVA_WERROR)
    target_compile_options(kernova_warnings INTERFACE -Werror)
endif()
