# CPack runs this over the staged files before it packs them. It compresses manual pages and changelogs, and
# gives every file the time of the release, so that two builds produce the same bytes.
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

run(find ${CPACK_TEMPORARY_DIRECTORY} -type f
  ( -path "*/share/man/*" -o -name changelog -o -name changelog.Debian ) -exec gzip -9n {} +)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  run(find ${CPACK_TEMPORARY_DIRECTORY} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +)
endif()
