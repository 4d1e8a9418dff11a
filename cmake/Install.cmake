# Everything that simulator/ and tools/ do not install themselves.
install(TARGETS planeshow)
if(PLANESHOW_STATIC)
  # Everything goes into one folder. Its bin is then copied to a device.
  install(FILES LICENSE DESTINATION .)
  install(FILES doc/README.device RENAME README DESTINATION .)
  install(FILES man/planeshow.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(DIRECTORY doc/ DESTINATION doc PATTERN README.device EXCLUDE)
else()
  install(DIRECTORY man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  # The README, and what its links lead to.
  install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
  install(DIRECTORY doc DESTINATION ${CMAKE_INSTALL_DOCDIR})
  foreach(command planeshow planeshow-sim)
    install(FILES packaging/planeshow.bash RENAME ${command}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  endforeach()
endif()
