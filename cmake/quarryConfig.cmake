# find_package(quarry 1.1 CONFIG REQUIRED): quarry_VERSION, and two targets.
#
#   quarry::headers   the headers, for hosts that load quarry.dll themselves
#   quarry::quarry    the headers and the import library, for hosts that the system loads it for

get_filename_component(quarryFolder ${CMAKE_CURRENT_LIST_DIR}/../../.. ABSOLUTE)

if(NOT TARGET quarry::quarry)
  add_library(quarry::headers INTERFACE IMPORTED)
  set_target_properties(quarry::headers PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${quarryFolder}/include)

  add_library(quarry::quarry SHARED IMPORTED)
  set(quarryImportLibrary ${quarryFolder}/lib/quarry.lib)
  if(MINGW)
    set(quarryImportLibrary ${quarryFolder}/lib/libquarry.dll.a)
  endif()
  set_target_properties(
    quarry::quarry
    PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${quarryFolder}/include
               IMPORTED_LOCATION ${quarryFolder}/bin/quarry.dll
               IMPORTED_IMPLIB ${quarryImportLibrary})
  unset(quarryImportLibrary)
endif()
unset(quarryFolder)
