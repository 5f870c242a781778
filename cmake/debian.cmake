# Run by cpack before it packs: gives the Debian package what Debian's policy asks for, the licence
# under the name "copyright", compressed manual pages, and a list of changes in its own form, which
# here says where ours is.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
    return()
endif()
set(share ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share)
file(RENAME ${share}/doc/torvik/LICENSE ${share}/doc/torvik/copyright)
execute_process(COMMAND gzip -9n ${share}/man/man1/Torvik.1 COMMAND_ERROR_IS_FATAL ANY)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${share}/doc/torvik/changelog "torvik (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * What has changed is in CHANGELOG.md, beside this file.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
execute_process(COMMAND gzip -9n ${share}/doc/torvik/changelog COMMAND_ERROR_IS_FATAL ANY)
