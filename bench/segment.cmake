# Segmenter speed against a bare ICU word-break pass over the same text.
kernova_add_bench(bench_segment
    SOURCES bench_segment.cpp
    DEPENDS kernova_segment PkgConfig::ICU)
