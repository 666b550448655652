# Run by cpack on what it is about to pack: everybody may enter the folders, whatever the umask was.
file(GLOB_RECURSE entries LIST_DIRECTORIES TRUE ${CPACK_TEMPORARY_DIRECTORY}/*)
foreach(entry ${entries})
  if(IS_DIRECTORY ${entry} AND NOT IS_SYMLINK ${entry})
    file(CHMOD ${entry} PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endif()
endforeach()
