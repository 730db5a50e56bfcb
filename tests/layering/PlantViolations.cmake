# Shows that CheckLayers.cmake can fail: on a copy of the tree it must pass, then fail on each
# planted violation and name the file. Run as:
#   cmake -DROOT=<top of the tree> -DCHECKER=<CheckLayers.cmake> -DWORK=<scratch folder> -P PlantViolations.cmake
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE "${WORK}")
foreach(folder components core controls panelkit shell convert cd burn recorder volume backends app
               tests)
  file(COPY "${ROOT}/${folder}" DESTINATION "${WORK}")
endforeach()

function(run_checker out_result out_output)
  execute_process(COMMAND "${CMAKE_COMMAND}" -DROOT=${WORK} -P "${CHECKER}"
                  RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  set(${out_result} "${result}" PARENT_SCOPE)
  set(${out_output} "${output}" PARENT_SCOPE)
endfunction()

run_checker(result output)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "the checker fails on an untouched copy:\n${output}")
endif()

# file | line appended to it
set(plants
  # An include through "../", the command line reaching a window, a backend reaching a panel,
  # the panel kit naming the main window's class, a panel including the shell in <>.
  "convert/FrameFileMode.cpp|#include \"../shell/Form1.h\""
  "app/cli/main.cpp|#include \"shell/Form1.h\""
  "backends/media/Codecs.h|#include \"convert/FrameFileMode.h\""
  "panelkit/ModePanel.h|class Form1<semicolon>"
  "cd/FrameCDMode.cpp|#include <shell/Form1.h>"
  # Lower layers reaching up, library headers outside the backends, the fakes and window tests
  # reaching a backend.
  "panelkit/ModePanel.cpp|#include \"convert/FrameFileMode.h\""
  "controls/ReportList.cpp|#include \"backends/media/Codecs.h\""
  "core/ConvertRules.cpp|#include \"controls/ReportList.h\""
  "cd/FrameCDMode.h|#include <cdio/cdio.h>"
  "recorder/FrmMainA.cpp|#  include <alsa/asoundlib.h>"
  "volume/VolumeControl.cpp|#include <libavcodec/avcodec.h>"
  "app/cli/main.cpp|#include <QNetworkReply>"
  "burn/FrameBurn.ui|<header>shell/Form1.h</header>"
  "components/Skin.h|#include <QMediaDevices>"
  "tests/fakes/FakeMixer.h|#include \"backends/audio/AudioOutput.h\""
  "tests/cd/test_cd_rip.cpp|#include \"backends/cdio/CdTools.h\""
  # Links: a panel linking the shell or a backend, global include folders, widgets reaching
  # melvane-cli directly or through the core.
  "convert/CMakeLists.txt|target_link_libraries(convert PUBLIC shell)"
  "cd/CMakeLists.txt|target_link_libraries(cd\n  PRIVATE backend_cdio)"
  "shell/CMakeLists.txt|include_directories(\${CMAKE_SOURCE_DIR})"
  "app/cli/CMakeLists.txt|target_link_libraries(melvane-cli PRIVATE panelkit)"
  "core/CMakeLists.txt|target_link_libraries(core PUBLIC controls)"
  # A backend reaching melvane-cli, directly or through its kit; the sound and burner libraries
  # reaching the module of the file and CD commands.
  "app/cli/CMakeLists.txt|target_link_libraries(melvane-cli PRIVATE backend_burn)"
  "app/cli/CMakeLists.txt|target_link_libraries(cli_kit PUBLIC backend_cdio)"
  "backends/media/CMakeLists.txt|target_link_libraries(backend_media PRIVATE PkgConfig::AVFILTER)"
  "components/CMakeLists.txt|target_link_libraries(components PUBLIC Qt6::Gui)")
foreach(plant IN LISTS plants)
  string(REPLACE "|" ";" parts "${plant}")
  list(GET parts 0 file)
  list(GET parts 1 line)
  # A list cannot hold a semicolon; the plants name it.
  string(REPLACE "<semicolon>" ";" line "${line}")
  file(READ "${WORK}/${file}" original)
  file(APPEND "${WORK}/${file}" "\n${line}\n")
  run_checker(result output)
  file(WRITE "${WORK}/${file}" "${original}")
  if(result EQUAL 0 OR NOT output MATCHES "${file}: ")
    message(FATAL_ERROR "the checker missed `${line}` in ${file}:\n${output}")
  endif()
endforeach()
file(REMOVE_RECURSE "${WORK}")
message(STATUS "The checker caught every planted violation")
