# Everything that simulator/ and tools/ do not install themselves.
install(TARGETS planeshow)
if(PLANESHOW_STATIC)
  # All in one folder, which is copied to a device.
  install(FILES LICENSE DESTINATION .)
  install(FILES doc/README.device RENAME README DESTINATION .)
  install(FILES man/planeshow.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
  install(DIRECTORY man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  # With the pictures where it looks for them.
  install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(DIRECTORY doc/pictures DESTINATION ${CMAKE_INSTALL_DOCDIR}/doc)
  foreach(command planeshow planeshow-sim)
    install(FILES packaging/planeshow.bash RENAME ${command}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  endforeach()
endif()
