# Run by cpack before it packs: gives the Debian package what Debian's policy asks for, the licence
# under the name "copyright", and compressed manual pages.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share)
file(RENAME ${share}/doc/torvik/LICENSE ${share}/doc/torvik/copyright)
execute_process(COMMAND gzip -9n ${share}/man/man1/Torvik.1 COMMAND_ERROR_IS_FATAL ANY)
