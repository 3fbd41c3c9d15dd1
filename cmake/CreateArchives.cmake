# Run by cpack: makes the archives of what is staged. CPack's own would record the files' times, their
# owner and the order of the file system, so that no two were the same.
set(scripts ${CMAKE_CURRENT_LIST_DIR}/../scripts)
set(stage ${CPACK_TEMPORARY_DIRECTORY})
set(folder ${stage}/${CPACK_PACKAGE_FILE_NAME}-win64)

# The signed launcher comes first: the bill of materials holds its checksum.
if(DEFINED ENV{ZQ_SIGNED_LAUNCHER})
  file(GLOB launchers ${stage}/*/zqLauncher.exe ${stage}/*/check/zqLauncher.exe)
  execute_process(
    COMMAND ${scripts}/take-signed $ENV{ZQ_SIGNED_LAUNCHER} ${launchers}
    COMMAND_ERROR_IS_FATAL ANY)
endif()
execute_process(
  COMMAND ${scripts}/bill-of-materials ${folder}/zqLauncher.exe ${CPACK_LINKER_MAP} ${CPACK_PACKAGE_VERSION}
  OUTPUT_FILE ${folder}/bom.json
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND ${scripts}/pack ${stage} ${CPACK_PACKAGE_DIRECTORY}
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND ${scripts}/authenticode hash ${folder}/zqLauncher.exe
  OUTPUT_FILE ${CPACK_PACKAGE_DIRECTORY}/SHA256SUMS.authenticode
  COMMAND_ERROR_IS_FATAL ANY)
file(GLOB CPACK_EXTERNAL_BUILT_PACKAGES ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME}-*.zip)
