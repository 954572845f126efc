# Every dependency is a Debian 12 package; scripts/setup-deps.sh installs them.
find_package(PkgConfig REQUIRED)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-uc icu-i18n)
pkg_check_modules(PLIST REQUIRED IMPORTED_TARGET libplist-2.0 libplist++-2.0)
find_package(OpenSSL REQUIRED COMPONENTS Crypto)
find_package(nlohmann_json 3 REQUIRED)
find_package(Threads REQUIRED)
if(KERNOVA_BUILD_TESTS)
    find_package(GTest REQUIRED)
    include(GoogleTest)
endif()
if(KERNOVA_BUILD_BENCH)
    find_package(benchmark REQUIRED)
endif()

# kernova_add_module(NAME SOURCES ... DEPENDS ...): one static library of the core.
function(kernova_add_module name)
    cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
    add_library(kernova_${name} STATIC ${ARG_SOURCES})
    target_include_directories(kernova_${name} PUBLIC ${PROJECT_SOURCE_DIR}/core)
    target_link_libraries(kernova_${name} PUBLIC ${ARG_DEPENDS}
                          PRIVATE kernova_warnings ${ARG_PRIVATE_DEPENDS})
endfunction()

# A module the desktop loads with dlopen on first use (the web engine,
# Tesseract), built into <build>/lib/kernova and installed into
# <libdir>/kernova, its symbols hidden but for its entry point.
#   kernova_add_loadable_module(name SOURCES a.cpp b.h LINK lib...)
function(kernova_add_loadable_module name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} MODULE ${ARG_SOURCES})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/platform)
    target_link_libraries(${name} PRIVATE ${ARG_LINK} kernova_warnings)
    set_target_properties(${name} PROPERTIES
        PREFIX "lib" OUTPUT_NAME ${name}
        CXX_VISIBILITY_PRESET hidden
        LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib/kernova)
    install(TARGETS ${name} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/kernova)
endfunction()
