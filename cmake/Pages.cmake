# SPDX-License-Identifier: MIT
# The manual page and the completions of a program, which the program itself prints; see tools/pages.
function(orx_pages_of target)
  # The program that was built for another machine does not run here.
  if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    return()
  endif()
  get_target_property(name ${target} OUTPUT_NAME)
  if(NOT name)
    set(name ${target})
  endif()
  set(man ${CMAKE_INSTALL_MANDIR}/man1/${name}.1)
  set(bash ${CMAKE_INSTALL_DATADIR}/bash-completion/completions/${name})
  set(zsh ${CMAKE_INSTALL_DATADIR}/zsh/site-functions/_${name})
  set(fish ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d/${name}.fish)
  set(pages)
  foreach(kind IN ITEMS man bash zsh fish)
    set(page ${CMAKE_CURRENT_BINARY_DIR}/pages/${${kind}})
    cmake_path(GET page PARENT_PATH folder)
    add_custom_command(
      OUTPUT ${page}
      COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
      COMMAND ${target} --page ${kind} > ${page}
      DEPENDS ${target}
      VERBATIM)
    list(APPEND pages ${page})
    if(ORX_INSTALL)
      cmake_path(GET ${kind} PARENT_PATH place)
      install(FILES ${page} DESTINATION ${place})
    endif()
  endforeach()
  add_custom_target(${target}_pages ALL DEPENDS ${pages})
endfunction()
