# Everything that simulator/ and tools/ do not install themselves.
install(TARGETS planeshow)
if(PLANESHOW_STATIC)
  # Everything goes into one folder, which is then copied to a device.
  install(FILES LICENSE DESTINATION .)
  install(FILES doc/README.device RENAME README DESTINATION .)
  install(FILES man/planeshow.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
  install(DIRECTORY man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  # The README looks for its pictures in doc/pictures.
  install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(DIRECTORY doc/pictures DESTINATION ${CMAKE_INSTALL_DOCDIR}/doc)
  foreach(command planeshow planeshow-sim)
    install(FILES packaging/planeshow.bash RENAME ${command}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  endforeach()
endif()
