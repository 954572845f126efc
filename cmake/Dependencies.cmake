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
