# What isn't a program; those are installed where they are built.
install(TARGETS planeshow)
install(FILES man/planeshow.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
if(NOT PLANESHOW_STATIC)
  install(FILES man/planeshow-sim.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  # With the pictures where it looks for them.
  install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(DIRECTORY doc/pictures DESTINATION ${CMAKE_INSTALL_DOCDIR}/doc)
  foreach(command planeshow planeshow-sim)
    install(FILES packaging/planeshow.bash RENAME ${command}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  endforeach()
endif()
