# Run by cpack: makes the archives of what is staged. CPack's own would record the files' times, their
# owner and the order of the file system, so that no two were the same.
execute_process(
  COMMAND ${CMAKE_CURRENT_LIST_DIR}/../scripts/pack ${CPACK_TEMPORARY_DIRECTORY} ${CPACK_PACKAGE_DIRECTORY}
  COMMAND_ERROR_IS_FATAL ANY)
file(GLOB CPACK_EXTERNAL_BUILT_PACKAGES ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME}-*.zip)
