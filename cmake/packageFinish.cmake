# What CPack does with the files of the archives before it packs them.

# Signs the DLL and the tool with QUARRY_CERTIFICATE, a PKCS #12 file, whose password QUARRY_CERTIFICATE_PASSWORD has.
if(DEFINED ENV{QUARRY_CERTIFICATE})
  file(GLOB_RECURSE programs ${CPACK_TEMPORARY_DIRECTORY}/*.dll ${CPACK_TEMPORARY_DIRECTORY}/*.exe)
  if(NOT programs)
    message(FATAL_ERROR "There is nothing to sign below ${CPACK_TEMPORARY_DIRECTORY}.")
  endif()
  set(password ${CPACK_TEMPORARY_DIRECTORY}.password)
  file(TOUCH ${password})
  file(CHMOD ${password} PERMISSIONS OWNER_READ OWNER_WRITE)
  file(WRITE ${password} "$ENV{QUARRY_CERTIFICATE_PASSWORD}")
  foreach(program IN LISTS programs)
    execute_process(
      COMMAND osslsigncode sign -pkcs12 $ENV{QUARRY_CERTIFICATE} -readpass ${password} -h sha256 -n "Velkor Quarry" -in
              ${program} -out ${program}.signed RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
      file(REMOVE ${password})
      message(FATAL_ERROR "Cannot sign ${program}.")
    endif()
    file(RENAME ${program}.signed ${program})
    file(CHMOD ${program} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endforeach()
  file(REMOVE ${password})
endif()

# One time for all, that of the commit: the same commit then gives the same bytes.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(
    COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +
    COMMAND_ERROR_IS_FATAL ANY)
endif()
