# The Debian package, which cpack makes of an installation.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(ZELVOX_MAINTAINER "" CACHE STRING "Name <address> of who answers for the Debian package")
set(CPACK_PACKAGE_CONTACT ${ZELVOX_MAINTAINER})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "runs models written in Java in importers of FMI 2.0")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "zelvox packs a Java class as a co-simulation unit (FMU) for any tool that
imports FMI 2.0, simulates and draws it, and gives a Java virtual machine to
importers that have none.")
# zelvox.so takes the JVM that its process has.
cmake_path(GET JAVA_JVM_LIBRARY PARENT_PATH jvm)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${jvm})
set(CPACK_DEBIAN_PACKAGE_DEPENDS "default-jre-headless | java-runtime-headless")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS gnuplot-nox)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/triggers)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/complete_deb.cmake)
include(CPack)
