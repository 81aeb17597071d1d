# dak_install_pkgconfig(TEMPLATE NAME COMPONENT [EXCLUDE_FROM_ALL]): installs
# NAME.pc made from TEMPLATE into <libdir>/pkgconfig. Its prefix is the one
# given at install time (`cmake --install --prefix`), so a staged or
# relocated install describes itself; every other @VARIABLE@ is filled in
# at configure time.
function(dak_install_pkgconfig template name component)
  set(DAK_PC_PREFIX "@DAK_PC_PREFIX@")
  foreach(dir LIBDIR INCLUDEDIR)
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${dir}}")
      set(DAK_PC_${dir} "${CMAKE_INSTALL_${dir}}")
    else()
      set(DAK_PC_${dir} "\${prefix}/${CMAKE_INSTALL_${dir}}")
    endif()
  endforeach()
  set(staged ${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc.in)
  configure_file(${template} ${staged} @ONLY)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(destination "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  else()
    set(destination "\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  endif()
  install(CODE "
    set(DAK_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    configure_file(\"${staged}\" \"${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc\" @ONLY)
    file(INSTALL DESTINATION \"${destination}\" TYPE FILE
      FILES \"${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc\")"
    COMPONENT ${component} ${ARGN})
endfunction()
