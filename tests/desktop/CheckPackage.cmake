# Makes the Debian package into a scratch folder and checks its dependencies and contents:
# cmake -DBUILD=<build folder> -DOUT=<scratch folder> -DVERSION=<version> -P CheckPackage.cmake
cmake_minimum_required(VERSION 3.25)
file(REMOVE_RECURSE "${OUT}")
execute_process(COMMAND cpack -G DEB -B "${OUT}" --config "${BUILD}/CPackConfig.cmake"
                WORKING_DIRECTORY "${BUILD}"
                RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
file(GLOB debs "${OUT}/melvane_${VERSION}_*.deb")
list(LENGTH debs count)
if(NOT result EQUAL 0 OR NOT count EQUAL 1)
  message(FATAL_ERROR "cpack -G DEB made ${count} melvane_${VERSION}_*.deb:\n${output}")
endif()

execute_process(COMMAND dpkg-deb -f "${debs}" Package Version Depends OUTPUT_VARIABLE fields
                COMMAND_ERROR_IS_FATAL ANY)
if(NOT fields MATCHES "Package: melvane\n" OR NOT fields MATCHES "Version: ${VERSION}\n")
  message(FATAL_ERROR "the package is not melvane ${VERSION}:\n${fields}")
endif()
string(REGEX MATCH "Depends: [^\n]*" depends "${fields}")
# The package of each library the programs link, with the version the binaries need, and the
# SVG plugins.
set(missing "")
foreach(library libqt6core6 libqt6widgets6 libqt6multimedia6 libavcodec[0-9]+ libavformat[0-9]+
                libavfilter[0-9]+ libswresample[0-9]+ libcdio[0-9]+ libcdio-paranoia[0-9]+
                libburn[0-9]+ libasound2 libc6)
  if(NOT depends MATCHES "[ ,]${library} \\(>= [^)]+\\)")
    list(APPEND missing "${library}")
  endif()
endforeach()
if(NOT depends MATCHES "[ ,]libqt6svg6(,|$)")
  list(APPEND missing libqt6svg6)
endif()
if(missing OR depends MATCHES "-dev[ ,]")
  message(FATAL_ERROR "missing in the dependencies: ${missing}\n${depends}")
endif()

execute_process(COMMAND dpkg-deb -c "${debs}" OUTPUT_VARIABLE contents COMMAND_ERROR_IS_FATAL ANY)
foreach(path bin/melvane bin/melvane-cli bin/melvane.skn share/man/man1/melvane-cli.1
             share/bash-completion/completions/melvane-cli share/applications/melvane.desktop
             share/metainfo/org.melvane.melvane.metainfo.xml
             # melvane-cli's modules for files and CDs, the sound devices and the burner
             "lib[^ ]*/melvane/melvane-cli-media[.]so" "lib[^ ]*/melvane/melvane-cli-audio[.]so"
             "lib[^ ]*/melvane/melvane-cli-burn[.]so")
  if(NOT contents MATCHES " \\./usr/${path}\n")
    message(FATAL_ERROR "not in the package: /usr/${path}\n${contents}")
  endif()
endforeach()
file(REMOVE_RECURSE "${OUT}")
