# Installs the build into a scratch prefix and checks that the desktop needs are all there:
# cmake -DBUILD=<build folder> -DPREFIX=<scratch prefix> -DAPPSTREAMCLI=<path> -P CheckInstall.cmake
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${PREFIX}"
                RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install failed:\n${output}")
endif()
set(missing "")
foreach(path bin/melvane bin/melvane-cli bin/melvane.skn share/applications/melvane.desktop
             share/icons/hicolor/scalable/apps/melvane.svg share/man/man1/melvane-cli.1
             share/bash-completion/completions/melvane-cli
             share/metainfo/org.melvane.melvane.metainfo.xml)
  if(NOT EXISTS "${PREFIX}/${path}")
    list(APPEND missing "${path}")
  endif()
endforeach()
if(missing)
  message(FATAL_ERROR "not installed: ${missing}\n${output}")
endif()
# The installed melvane-cli finds its modules in the installed library folder (not in the build).
foreach(command play recorders)
  execute_process(COMMAND "${PREFIX}/bin/melvane-cli" ${command} --help
                  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0 OR NOT output MATCHES "Usage: melvane-cli ${command}")
    message(FATAL_ERROR "the installed melvane-cli ${command} --help: ${result}\n${output}")
  endif()
endforeach()
# The entry starts the installed program and names the installed icon.
file(STRINGS "${PREFIX}/share/applications/melvane.desktop" entry REGEX "^(Exec|Icon)=")
if(NOT entry STREQUAL "Exec=melvane;Icon=melvane")
  message(FATAL_ERROR "the desktop entry names ${entry}")
endif()
# The metainfo finds its desktop entry where both are installed.
execute_process(COMMAND "${APPSTREAMCLI}" validate-tree --no-net "${PREFIX}"
                RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "appstreamcli validate-tree failed:\n${output}")
endif()
file(REMOVE_RECURSE "${PREFIX}")
