# The manual, which is not part of the usual build:
#
#   cmake --build BUILD --target manual         BUILD/manual/Torvik.pdf and Torvik.html
#
# It needs python3, pandoc and weasyprint; docs/manual/manual.py says so if the last two are missing.
find_program(python3 NAMES python3 python)
file(GLOB torvik_manual CONFIGURE_DEPENDS docs/*.md docs/manual/*.md docs/manual/figures/*.svg
     docs/manual/manual.py docs/manual/manual.css)
set(torvik_manual_folder ${CMAKE_BINARY_DIR}/manual)
if(python3)
    add_custom_command(OUTPUT ${torvik_manual_folder}/Torvik.pdf
        BYPRODUCTS ${torvik_manual_folder}/Torvik.html
        COMMAND ${python3} ${PROJECT_SOURCE_DIR}/docs/manual/manual.py ${torvik_manual_folder}
        DEPENDS ${torvik_manual}
        COMMENT "Making the manual in ${torvik_manual_folder}" VERBATIM)
    add_custom_target(manual DEPENDS ${torvik_manual_folder}/Torvik.pdf)
else()
    add_custom_target(manual
        COMMAND ${CMAKE_COMMAND} -E echo "The manual cannot be made without python3."
        COMMAND ${CMAKE_COMMAND} -E false VERBATIM)
endif()
