# target_graph(FILE FOLDER ...): writes what CMake knows of the targets in and under the folders, a fact a line, for
# tests/tidy/includes.py:
#
#     target features_parsers features/parsers
#     source features/parsers/TelemetryHeader.cpp
#     depends features_nvme
function(target_graph file)
  set_property(GLOBAL PROPERTY TARGET_GRAPH "")
  foreach(folder ${ARGN})
    append_folder(${PROJECT_SOURCE_DIR}/${folder})
  endforeach()
  get_property(lines GLOBAL PROPERTY TARGET_GRAPH)
  list(JOIN lines "\n" text)
  file(WRITE ${file} "${text}\n")
endfunction()

function(append_folder folder)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target ${targets})
    append_target(${target})
  endforeach()
  get_property(subfolders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(subfolder ${subfolders})
    append_folder(${subfolder})
  endforeach()
endfunction()

function(append_target target)
  get_target_property(folder ${target} SOURCE_DIR)
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${folder})
  set_property(GLOBAL APPEND PROPERTY TARGET_GRAPH "target ${target} ${folder}")
  get_target_property(sources ${target} SOURCES)
  get_target_property(libraries ${target} LINK_LIBRARIES)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "INTERFACE_LIBRARY")
    get_target_property(libraries ${target} INTERFACE_LINK_LIBRARIES)
  endif()
  if(NOT sources)  # headers alone need not be named
    set(sources "")
  endif()
  foreach(source ${sources})
    set_property(GLOBAL APPEND PROPERTY TARGET_GRAPH "source ${folder}/${source}")
  endforeach()
  foreach(library ${libraries})
    set_property(GLOBAL APPEND PROPERTY TARGET_GRAPH "depends ${library}")
  endforeach()
endfunction()
