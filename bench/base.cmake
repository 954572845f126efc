kernova_add_bench(bench_base SOURCES bench_base.cpp DEPENDS kernova_base)
