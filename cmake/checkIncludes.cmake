# Fails when a file includes a header of this tree from a folder that its layer does not depend on, or names one other
# than by its path from the root of the tree.
#
# LAYER the layer's name, ROOT the tree, FILES and FOLDERS lists separated by "|".

cmake_minimum_required(VERSION 3.25)

string(REPLACE "|" ";" files "${FILES}")
string(REPLACE "|" ";" folders "${FOLDERS}")
set(failures "")

foreach(file IN LISTS files)
  file(STRINGS ${file} lines REGEX "^[ \t]*#[ \t]*include[ \t]*[\"<]")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^[^\"<]*([\"<])([^\">]*).*$" "\\1;\\2" parts "${line}")
    list(GET parts 0 quote)
    list(GET parts 1 header)
    if(header MATCHES "^(include/)?quarry/quarry[.]h$")
      set(folder include/quarry)
    elseif(header MATCHES "^((quarry|lib|tools|tests)/[^/]+)/")
      set(folder ${CMAKE_MATCH_1})
    elseif(quote STREQUAL "\"")
      set(folder "a path that does not start at the root of the tree")
    else()
      continue()
    endif()
    if(NOT folder IN_LIST folders)
      file(RELATIVE_PATH name ${ROOT} ${file})
      string(APPEND failures "\n  ${name} includes ${header} (${folder})")
    endif()
  endforeach()
endforeach()

if(failures)
  string(REPLACE ";" " " allowed "${folders}")
  message(FATAL_ERROR "${LAYER} may include from: ${allowed}${failures}")
endif()
