# Tag board: layout pass, visible-cell lookup after a scroll, slide selection
# and memory per tag, each against a baseline from the same run.
kernova_add_bench(bench_board
    SOURCES bench_board.cpp
    DEPENDS kernova_board kernova_server kernova_sim)
