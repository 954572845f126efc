# What a Debian package needs beyond the programs: the man pages made from
# --help, shell completion, the systemd user unit, the copyright and changelog,
# and CPack's settings for `cmake --build --preset desktop --target package`.

# kernovad as a systemd user unit (installed, not enabled).
configure_file(${PROJECT_SOURCE_DIR}/data/kernovad.service.in
               ${PROJECT_BINARY_DIR}/data/kernovad.service @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/data/kernovad.service
        DESTINATION lib/systemd/user)

install(FILES ${PROJECT_SOURCE_DIR}/data/completion/kernova.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME kernova)
install(FILES ${PROJECT_SOURCE_DIR}/data/completion/_kernova
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)

# Man pages from each program's --help; skipped without help2man.
find_program(KERNOVA_HELP2MAN help2man)
set(_kernova_man_name_kernova "split text into word tags, and drive the Kernova daemon")
set(_kernova_man_name_kernovad "the Kernova daemon: panel, floating button and tray")
find_program(KERNOVA_GZIP gzip REQUIRED)
if(KERNOVA_HELP2MAN)
    set(_kernova_man_pages)
    foreach(_program kernova kernovad)
        set(_page ${PROJECT_BINARY_DIR}/man/${_program}.1)
        set(_include)
        set(_include_option)
        if(_program STREQUAL "kernova")
            # kernova(1) also carries every subcommand's --help.
            set(_include ${PROJECT_BINARY_DIR}/man/kernova-commands.h2m)
            set(_include_option --include=${_include})
            add_custom_command(
                OUTPUT ${_include}
                COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/man
                COMMAND ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen ${CMAKE_COMMAND}
                        -DPROGRAM=$<TARGET_FILE:kernova> -DOUTPUT=${_include}
                        -P ${PROJECT_SOURCE_DIR}/cmake/ManCommands.cmake
                DEPENDS kernova ${PROJECT_SOURCE_DIR}/cmake/ManCommands.cmake
                COMMENT "The subcommands' help for kernova(1)"
                VERBATIM)
        endif()
        add_custom_command(
            OUTPUT ${_page}.gz
            COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/man
            COMMAND ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen
                    ${KERNOVA_HELP2MAN} --no-info --no-discard-stderr
                    --version-string=${PROJECT_VERSION} --section=1 ${_include_option}
                    --name=${_kernova_man_name_${_program}}
                    --output=${_page} $<TARGET_FILE:${_program}>
            COMMAND ${KERNOVA_GZIP} -9nf ${_page}
            DEPENDS ${_program} ${_include}
            COMMENT "Man page ${_program}(1) from --help"
            VERBATIM)
        list(APPEND _kernova_man_pages ${_page}.gz)
    endforeach()
    add_custom_target(kernova_man_pages ALL DEPENDS ${_kernova_man_pages})
    install(FILES ${_kernova_man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
    message(STATUS "help2man not found: the man pages are not made")
endif()

# /usr/share/doc/kernova: the copyright (DEP-5) and the changelog, gzipped
# without a timestamp.
set(_kernova_changelog ${PROJECT_BINARY_DIR}/data/changelog.gz)
add_custom_command(
    OUTPUT ${_kernova_changelog}
    COMMAND ${KERNOVA_GZIP} -9nc ${PROJECT_SOURCE_DIR}/data/debian/changelog > ${_kernova_changelog}
    DEPENDS ${PROJECT_SOURCE_DIR}/data/debian/changelog
    COMMENT "Gzipping the changelog")
add_custom_target(kernova_changelog ALL DEPENDS ${_kernova_changelog})
install(FILES ${PROJECT_SOURCE_DIR}/data/debian/copyright ${_kernova_changelog}
        DESTINATION ${CMAKE_INSTALL_DOCDIR})

# The .deb. dpkg-shlibdeps finds the libraries the programs and the
# dlopen'd modules link; what is loaded at run time by name is named here: the
# Qt xcb platform plugin and libcurl (HTTP) as dependencies, the image plugins,
# fonts, Tesseract's language data and libcanberra (sounds) as recommendations.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    message(STATUS "The package expects CMAKE_INSTALL_PREFIX=/usr (paths are built in); "
                   "it is ${CMAKE_INSTALL_PREFIX}")
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kernova)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Kernova developers <kernova@quorle.invalid>")
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Kernova developers <kernova@quorle.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "system-wide text tool: split selected text into word tags")
set(CPACK_PACKAGE_DESCRIPTION
    "Kernova splits the text you select or copy anywhere on the desktop into word\n"
    "tags on a floating panel (dictionary segmentation for Chinese and Japanese),\n"
    "where you pick tags and copy, share, search, translate or send them. It also\n"
    "recognises the words of images and screen regions.")
string(JOIN "" CPACK_PACKAGE_DESCRIPTION ${CPACK_PACKAGE_DESCRIPTION})
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, libcurl4")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "qt6-image-formats-plugins, fonts-noto-cjk, tesseract-ocr-eng, tesseract-ocr-chi-sim, tesseract-ocr-chi-tra, tesseract-ocr-jpn, tesseract-ocr-kor, libcanberra0")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# Absolute destinations (/etc/xdg/autostart) go into the package, not the machine.
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
# The autostart entry is a configuration file the administrator may edit.
file(WRITE ${PROJECT_BINARY_DIR}/debian/conffiles
     "${CMAKE_INSTALL_FULL_SYSCONFDIR}/xdg/autostart/kernova-autostart.desktop\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/debian/conffiles)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)
include(CPack)
