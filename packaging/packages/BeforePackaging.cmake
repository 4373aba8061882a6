# What CPack has laid out for the packages, just before it packs. Manual pages and change logs are compressed, without
# the time and name that gzip would note; a package without a file in the prefix does not hold the empty folder; and
# folders are for all to read, whatever the umask was: /usr itself is among them. All gets the time of the sources where
# that is given: rpm brings later times down to it, and leaves those of an older checkout as they are.
file(GLOB_RECURSE pages LIST_DIRECTORIES OFF ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man?/*.[1-8])
file(GLOB_RECURSE logs LIST_DIRECTORIES OFF
  ${CPACK_TEMPORARY_DIRECTORY}/*/changelog.Debian ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/nimbrel/changelog)
foreach(file ${pages} ${logs})
  execute_process(COMMAND gzip -9nf ${file} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(GLOB prefixes ${CPACK_TEMPORARY_DIRECTORY}/*/opt/velko/nimbrel)
foreach(prefix ${prefixes})
  file(GLOB files ${prefix}/*)
  if(NOT files)
    string(REGEX REPLACE "/velko/nimbrel$" "" top ${prefix})
    file(REMOVE_RECURSE ${top})
  endif()
endforeach()
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 755 {} + COMMAND_ERROR_IS_FATAL ANY)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(
    COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +
    COMMAND_ERROR_IS_FATAL ANY)
endif()
