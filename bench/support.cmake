kernova_add_bench(bench_support
    SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/bench_support.cpp
    DEPENDS kernova_support)
