# Installs the build into INSTALL_DIR and checks that every file a user needs lands there.
file(REMOVE_RECURSE ${INSTALL_DIR})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${INSTALL_DIR}
    RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${result}")
endif()
set(expected bin/kinovela-cli share/man/man1/kinovela-cli.1 share/bash-completion/completions/kinovela-cli)
if(WITH_GUI)
    list(APPEND expected bin/kinovela share/man/man1/kinovela.1 share/applications/kinovela.desktop
        share/icons/hicolor/256x256/apps/kinovela.png)
endif()
foreach(path IN LISTS expected)
    if(NOT EXISTS ${INSTALL_DIR}/${path})
        message(FATAL_ERROR "not installed: ${path}")
    endif()
endforeach()
file(REMOVE_RECURSE ${INSTALL_DIR})
