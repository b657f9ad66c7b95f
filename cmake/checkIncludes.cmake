# Fails when the files of a folder include a header of another that the folder's CMakeLists.txt does not name in DEPENDS,
# when it names one that none of them includes, and when a header is not included by its path from the root of the tree.
#
# ROOT is the tree, TABLE a file with a row for each folder, which layers.cmake writes: check_folder(FOLDER NAMED...).

cmake_minimum_required(VERSION 3.25)

function(check_folder folder)
  set(unused ${ARGN})
  file(GLOB files RELATIVE ${ROOT} ${ROOT}/${folder}/*.c ${ROOT}/${folder}/*.cpp ${ROOT}/${folder}/*.h)
  foreach(file IN LISTS files)
    file(STRINGS ${ROOT}/${file} lines REGEX "^[ \t]*#[ \t]*include[ \t]*[\"<]")
    foreach(line IN LISTS lines)
      if(line MATCHES "[\"<]quarry/[^/]+[\">]")
        set(included include)
      elseif(line MATCHES "[\"<](bench)/[^/]+[\">]")
        set(included ${CMAKE_MATCH_1})
      elseif(line MATCHES "[\"<]((lib|quarry|tests|tools)/[^/]+)/")
        set(included ${CMAKE_MATCH_1})
      elseif(line MATCHES "include[ \t]*<")
        continue()
      else()
        message(SEND_ERROR "${file}: ${line}: not a path from the root of the tree")
        continue()
      endif()
      list(REMOVE_ITEM unused ${included})
      if(NOT included IN_LIST ARGN AND NOT included STREQUAL folder)
        message(SEND_ERROR "${file}: ${line}: ${folder}/CMakeLists.txt does not name ${included} in DEPENDS")
      endif()
    endforeach()
  endforeach()
  if(unused)
    message(SEND_ERROR "${folder}/CMakeLists.txt names in DEPENDS what no file of the folder includes: ${unused}")
  endif()
endfunction()

include(${TABLE})
