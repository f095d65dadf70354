# What `cmake --install` puts where: the program and all modules side by side, as they find each other, in a folder of
# their own; a link to the program; its manual page and completions, which it prints itself.
include(GNUInstallDirs)

set(products ${CMAKE_INSTALL_LIBDIR}/lumovexa)
install(TARGETS lumorender lumoimages lumovexa vexabase tintcore materials examples sdk_examples
    RUNTIME DESTINATION ${products} LIBRARY DESTINATION ${products})
file(GLOB declarations CONFIGURE_DEPENDS ${LUMO_PRODUCT_DIR}/*.mi)
install(FILES ${declarations} DESTINATION ${products})
install(CODE "
    set(root \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
    foreach(name architectural subsurface paint base physics)
        file(CREATE_LINK materials.so \"\${root}/${products}/\${name}.so\" SYMBOLIC)
    endforeach()
    file(MAKE_DIRECTORY \"\${root}/${CMAKE_INSTALL_BINDIR}\")
    file(RELATIVE_PATH program \"/${CMAKE_INSTALL_BINDIR}\" \"/${products}/lumorender\")
    file(CREATE_LINK \"\${program}\" \"\${root}/${CMAKE_INSTALL_BINDIR}/lumorender\" SYMBOLIC)")

install(PROGRAMS ${PROJECT_SOURCE_DIR}/tools/farm/lumofarm DESTINATION ${CMAKE_INSTALL_BINDIR})

set(pages ${CMAKE_BINARY_DIR}/pages)
file(MAKE_DIRECTORY ${pages})
add_custom_command(OUTPUT ${pages}/lumorender.1 ${pages}/lumorender ${pages}/_lumorender
    COMMAND lumorender -manual man > ${pages}/lumorender.1
    COMMAND lumorender -completion bash > ${pages}/lumorender
    COMMAND lumorender -completion zsh > ${pages}/_lumorender
    DEPENDS lumorender VERBATIM)
add_custom_target(pages ALL DEPENDS ${pages}/lumorender.1 ${pages}/lumorender ${pages}/_lumorender)
install(FILES ${pages}/lumorender.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${pages}/lumorender DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES ${pages}/_lumorender DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
