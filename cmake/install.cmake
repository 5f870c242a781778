# What is installed, where, and what packages are made of it.
#
#   cmake --install BUILD --prefix /usr/local
#   cd BUILD && cpack -G DEB          or TGZ, ZIP; scripts/package.sh makes them all
include(GNUInstallDirs)
if("$CACHE{CMAKE_INSTALL_DOCDIR}" STREQUAL "") # unless it was asked for: no capital in a folder
    set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/torvik)
endif()
set(torvik_bindir ${CMAKE_INSTALL_BINDIR})
set(torvik_docdir ${CMAKE_INSTALL_DOCDIR})
if(WIN32) # there a program lies in a folder of its own, with all that belongs to it
    set(torvik_bindir .)
    set(torvik_docdir .)
endif()

install(TARGETS Torvik RUNTIME DESTINATION ${torvik_bindir})
# What a user reads: the chapters of the manual, and what they refer to. README.md, CONTRIBUTING.md,
# docs/architecture.md and docs/solver-api.md are for those who have the sources.
install(FILES CHANGELOG.md LICENSE DESTINATION ${torvik_docdir})
install(FILES docs/formats.md docs/limits.md docs/method.md docs/performance.md docs/success.md
              docs/trust.md
        DESTINATION ${torvik_docdir}/docs)
install(DIRECTORY docs/manual DESTINATION ${torvik_docdir}/docs
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg")
file(GLOB torvik_examples CONFIGURE_DEPENDS
     examples/*.idx examples/*.truth.json examples/README.md examples/generate.py)
install(FILES ${torvik_examples} DESTINATION ${torvik_docdir}/examples)
if(NOT WIN32)
    install(FILES docs/Torvik.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
# The manual, if it was built before: cmake --build BUILD --target manual.
foreach(manual Torvik.pdf Torvik.html)
    install(FILES ${CMAKE_BINARY_DIR}/manual/${manual} DESTINATION ${torvik_docdir} OPTIONAL)
endforeach()

# torvik-tools, with what it prints of itself. Where it is built for the tests alone it is installed only
# if that is asked for: cmake --install BUILD --component tools
if(TARGET torvik-tools)
    set(torvik_tools COMPONENT tools)
    if(NOT TORVIK_TOOLS)
        list(APPEND torvik_tools EXCLUDE_FROM_ALL)
    endif()
    install(TARGETS torvik-tools RUNTIME DESTINATION ${torvik_bindir} ${torvik_tools})
    install(FILES docs/tools.md docs/solve.md docs/batch.md docs/results.schema.json
            DESTINATION ${torvik_docdir}/docs ${torvik_tools})
    # The page that the report fills, where the report looks for it; if it could be built.
    install(FILES ${CMAKE_BINARY_DIR}/report-page/report.html
            DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/torvik ${torvik_tools} OPTIONAL)
    # The workflow of batch, likewise.
    install(DIRECTORY workflow DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/torvik ${torvik_tools}
            FILES_MATCHING PATTERN "*.py" PATTERN "*.sh" PATTERN "*.j2" PATTERN "Snakefile"
            PATTERN "__pycache__" EXCLUDE)
    if(NOT WIN32)
        set(generated ${CMAKE_BINARY_DIR}/generated)
        set(share ${CMAKE_INSTALL_DATAROOTDIR})
        install(FILES ${generated}/torvik-tools.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
                ${torvik_tools})
        install(FILES ${generated}/torvik-tools DESTINATION ${share}/bash-completion/completions
                ${torvik_tools})
        install(FILES ${generated}/_torvik-tools DESTINATION ${share}/zsh/site-functions
                ${torvik_tools})
        install(FILES ${generated}/torvik-tools.fish
                DESTINATION ${share}/fish/vendor_completions.d ${torvik_tools})
    endif()
endif()

set(CPACK_PACKAGE_NAME torvik)
set(CPACK_PACKAGE_VENDOR "The developers of Torvik")
# Who answers for the package. A name under .invalid is no address, and never will be (RFC 2606).
set(TORVIK_MAINTAINER "The developers of Torvik <torvik@torvik.invalid>" CACHE STRING
    "Maintainer of the packages: name and address of who gives them away")
set(CPACK_PACKAGE_CONTACT "${TORVIK_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "indexes single-crystal diffraction data")
set(CPACK_PACKAGE_DESCRIPTION
    "Torvik takes from 4 to 999 measured reflections of an unknown crystal, some
of which may be wrong, and gives the primitive cell, its orientation and the
Miller indices.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
string(TOLOWER "${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" torvik_system)
set(CPACK_PACKAGE_FILE_NAME torvik-${PROJECT_VERSION}-${torvik_system})
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR TGZ)
if(WIN32)
    set(CPACK_GENERATOR ZIP)
endif()

# The Debian package goes to /usr, and depends on what dpkg-shlibdeps finds that the program uses.
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/cpack.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian.cmake)
include(CPack)
