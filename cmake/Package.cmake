# What is installed, and the Debian package: tools/package. What nobody calls by hand lies in lib/varkel-agent,
# where the agent looks for it.
install(TARGETS varkel-agent varkel-mcp varkel-inspector varkel-overlay RUNTIME DESTINATION bin)
install(TARGETS launchctl RUNTIME DESTINATION lib/varkel-agent)
install(TARGETS varkel_vision LIBRARY DESTINATION lib/varkel-agent)
install(FILES README.md docs/api.md docs/architecture.md docs/mcp.md docs/ocr.md docs/openapi.yaml docs/platforms.md docs/security.md docs/service.md
    DESTINATION share/doc/varkel-agent)
install(FILES VarkelAgent/overlay/varkel-overlay.desktop DESTINATION share/applications)
install(FILES LICENSE DESTINATION share/doc/varkel-agent RENAME copyright)

# Manual pages are packed, by Debian's custom without a time stamp.
find_program(GZIP gzip REQUIRED)
foreach(page IN ITEMS varkel-agent.1 varkel-mcp.1 varkel-inspector.1 varkel-overlay.1)
    set(packed ${CMAKE_BINARY_DIR}/${page}.gz)
    add_custom_command(OUTPUT ${packed}
        COMMAND ${GZIP} -9nc ${PROJECT_SOURCE_DIR}/docs/${page} > ${packed}
        DEPENDS docs/${page} VERBATIM)
    list(APPEND manual ${packed})
endforeach()
add_custom_target(manual ALL DEPENDS ${manual})
install(FILES ${manual} DESTINATION share/man/man1)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME varkel-agent)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "the varkel-agent authors <varkel-agent@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Lets an assistant read and work the desktop")
set(CPACK_PACKAGE_DESCRIPTION "varkel-agent runs in the background of a login session and serves JSON over HTTP on
the loopback address: accessibility trees, clicks, typing, keystrokes, and the text in pictures. varkel-mcp offers the
same to assistants that speak the Model Context Protocol, varkel-inspector shows it in a browser,
varkel-overlay asks the person before anything is done.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The libraries' packages and their versions are read off the programs.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The accessibility bus, and the language that recognition reads.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "at-spi2-core, tesseract-ocr-eng")
# Starts the agent at login; without it the desktop's autostart does.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "dbus-user-session, systemd")
# Opens the inspector's page in the browser; without it the address is only printed.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "xdg-utils")
include(CPack)
