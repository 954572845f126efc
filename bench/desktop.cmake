# Request to pixels on screen: a watcher of X and kernovad's debug signal that
# times Kernova's panel and another program's overlay (bench/panel_latency.sh).
if(KERNOVA_BUILD_DESKTOP)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Core DBus)
    pkg_check_modules(BENCH_XCB REQUIRED IMPORTED_TARGET xcb xcb-xtest)
    add_executable(kernova-bench-latency panel_latency.cpp)
    set_target_properties(kernova-bench-latency PROPERTIES AUTOMOC ON)
    target_link_libraries(kernova-bench-latency PRIVATE Qt6::Core Qt6::DBus PkgConfig::BENCH_XCB
                          kernova_warnings)
endif()

# The engine here on a page of text, next to the tesseract command
# (bench/ocr_speed.sh).
if(KERNOVA_BUILD_DESKTOP)
    find_package(Qt6 6.4 REQUIRED COMPONENTS Gui)
    add_executable(kernova-bench-ocr ocr_speed.cpp)
    target_link_libraries(kernova-bench-ocr PRIVATE kernova_desktop_ocr Qt6::Gui kernova_warnings)
endif()
