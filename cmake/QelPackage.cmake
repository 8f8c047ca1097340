# What makes an installation usable from outside, and the Debian packages.

include(CMakePackageConfigHelpers)
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/qelftpclientConfig.cmake.in"
    qelftpclientConfig.cmake INSTALL_DESTINATION "${QEL_INSTALL_CMAKEDIR}"
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(qelftpclientConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/qelftpclientConfig.cmake"
              "${CMAKE_CURRENT_BINARY_DIR}/qelftpclientConfigVersion.cmake"
        DESTINATION "${QEL_INSTALL_CMAKEDIR}" COMPONENT development)

# The pages link to each other and to the examples.
set(docs "${PROJECT_SOURCE_DIR}/docs")
install(FILES "${docs}/library.md" "${docs}/platform.md" "${docs}/result-codes.md" "${docs}/sftp.md"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT development)
install(FILES "${docs}/examples/fetch.cpp" "${docs}/examples/fetchwhole.cpp"
              "${docs}/examples/ownlog.cpp" "${docs}/examples/ownplatform.cpp"
              "${docs}/examples/sftpfetch.cpp"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT development)

if(QEL_BUILD_TOOLS)
    install(FILES "${docs}/qelftp.md" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT tool)
endif()

if(NOT PROJECT_IS_TOP_LEVEL)
    return()
endif()

# cmake --preset package && cmake --build --preset package && cpack --preset package
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "qelftpclient")
set(CPACK_PACKAGE_CONTACT "qelftpclient maintainers <maintainers@qelftpclient.invalid>"
    CACHE STRING "Maintainer of the packages, as Debian writes it")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_STRIP_FILES ON)
# Debian keeps manual pages compressed.
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/QelCompressManual.cmake")
# The configuration below "/etc" is outside the prefix.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/lib")
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# qel_debian_package(COMPONENT name PACKAGE name SECTION section [COMPILED] [LIBRARY name]
#                    [NEEDS component...])
# LIBRARY: the shared library that others link, for their dependencies and the loader's cache.
# The description is the variable <component>_description, whose first line is the synopsis.
macro(qel_debian_package)
    cmake_parse_arguments(arg "COMPILED" "COMPONENT;PACKAGE;SECTION;LIBRARY" "NEEDS" ${ARGN})
    string(TOUPPER ${arg_COMPONENT} upper)
    list(APPEND CPACK_COMPONENTS_ALL ${arg_COMPONENT})
    set(CPACK_COMPONENT_${upper}_DEPENDS ${arg_NEEDS})
    set(CPACK_COMPONENT_${upper}_DESCRIPTION "${${arg_COMPONENT}_description}")
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${arg_PACKAGE})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${arg_SECTION})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SHLIBDEPS ${arg_COMPILED})
    set(control "${PROJECT_BINARY_DIR}/debian/${arg_COMPONENT}")
    if(arg_LIBRARY)
        file(WRITE "${control}/shlibs" "${arg_LIBRARY} ${PROJECT_VERSION_MAJOR} "
                                       "${arg_PACKAGE} (>= ${PROJECT_VERSION})\n")
        file(WRITE "${control}/triggers" "activate-noawait ldconfig\n")
        list(APPEND CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA
             "${control}/shlibs" "${control}/triggers")
    endif()
endmacro()

set(library_description "FTP and SFTP sessions of a server application
One object is one FTP session with one account; SFTP sessions are set up with
a wrapper library that is opened at run time.

The library needs a platform: its host's own, or the stand-alone one of
libqelplatform${PROJECT_VERSION_MAJOR}.")
set(development_description "FTP and SFTP sessions of a server application: development files
Headers, CMake and pkg-config files of the library and of the stand-alone
platform.")
set(platform_description "Stand-alone platform of libqelftpclient
Logging, enciphered passwords, paths and encodings for a plain Linux machine,
and the SFTP wrapper on libssh with its configuration. A host with a platform
of its own does not need it.")
set(tool_description "Moves files to and from FTP and SFTP servers
A command-line program on libqelftpclient: lists, fetches, sends and removes
files and directories that URLs name.")

qel_debian_package(COMPONENT library PACKAGE libqelftpclient${PROJECT_VERSION_MAJOR} SECTION libs
                   COMPILED LIBRARY libqelftpclient)
if(QEL_BUILD_STANDALONE)
    qel_debian_package(COMPONENT platform PACKAGE libqelplatform${PROJECT_VERSION_MAJOR}
                       SECTION libs COMPILED LIBRARY libqelplatform)
    set(development_needs platform)
    # Edited by the machine's administrator, so a newer package must not overwrite it.
    if(IS_ABSOLUTE "${QEL_INSTALL_CONFDIR}")
        file(WRITE "${PROJECT_BINARY_DIR}/debian/platform/conffiles"
             "${QEL_INSTALL_CONFDIR}/sftpAlgorithm.cfg\n")
        list(APPEND CPACK_DEBIAN_PLATFORM_PACKAGE_CONTROL_EXTRA
             "${PROJECT_BINARY_DIR}/debian/platform/conffiles")
    endif()
endif()
qel_debian_package(COMPONENT development PACKAGE libqelftpclient-dev SECTION libdevel
                   NEEDS library ${development_needs})
# The handle of an open wrapper library, which a host may have to delete, is ACE's.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS libace-dev)
if(QEL_BUILD_TOOLS)
    qel_debian_package(COMPONENT tool PACKAGE qelftp SECTION net COMPILED NEEDS library platform)
endif()

include(CPack)
