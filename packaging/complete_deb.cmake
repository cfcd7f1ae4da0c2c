# Run by cpack before it packs what was installed: adds what a Debian package has besides, and gives
# all files the time of SOURCE_DATE_EPOCH.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  message(FATAL_ERROR "set SOURCE_DATE_EPOCH, or make the package by scripts/package.sh")
endif()
set(doc "${CPACK_TEMPORARY_DIRECTORY}/usr/share/doc/${CPACK_PACKAGE_NAME}")
string(TIMESTAMP year "%Y" UTC)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(full_version "${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

file(WRITE "${doc}/changelog.Debian" "${CPACK_PACKAGE_NAME} (${full_version}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
# Which licence others get is for the owners to say.
if(EXISTS "${doc}/LICENSE")
  file(RENAME "${doc}/LICENSE" "${doc}/copyright")
else()
  file(WRITE "${doc}/copyright" "Copyright ${year} the owners of ${CPACK_PACKAGE_NAME}. All rights reserved.\n")
endif()
file(GLOB manual "${CPACK_TEMPORARY_DIRECTORY}/usr/share/man/man1/*.1")
execute_process(COMMAND gzip -9n "${doc}/changelog.Debian" ${manual} COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +
  COMMAND_ERROR_IS_FATAL ANY)
