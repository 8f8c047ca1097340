# Where things are installed, and in which of the packages they come.
#
# Components: library, development, platform, tool.

set(QEL_INSTALL_INCLUDEDIR "${CMAKE_INSTALL_INCLUDEDIR}/qelftpclient")
set(QEL_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/qelftpclient")
set(QEL_INSTALL_PKGCONFIGDIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

# Beside the libraries, since it holds one itself; the platform looks for it there, so that an
# installation can be moved.
set(QEL_INSTALL_SERVERDIR "${CMAKE_INSTALL_LIBDIR}/qelftpclient/server")
set(QEL_INSTALL_FULL_SERVERDIR "${CMAKE_INSTALL_FULL_LIBDIR}/qelftpclient/server")

# Below "/usr" it is "/etc" that people edit. Every other prefix has its own, so that it can be
# staged and moved as a whole. QEL_INSTALL_CONFLINK leads there from below the server path: a link
# from "/usr" into "/etc" is absolute in Debian, one within a prefix moves with it.
set(QEL_INSTALL_SERVERCONFDIR "${QEL_INSTALL_SERVERDIR}/vesk/PRWWBFrame/prw/qel/conf")
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(QEL_INSTALL_CONFDIR "${CMAKE_INSTALL_FULL_SYSCONFDIR}/qelftpclient")
    set(QEL_INSTALL_CONFLINK "${QEL_INSTALL_CONFDIR}/sftpAlgorithm.cfg")
else()
    set(QEL_INSTALL_CONFDIR "${CMAKE_INSTALL_SYSCONFDIR}/qelftpclient")
    cmake_path(ABSOLUTE_PATH QEL_INSTALL_CONFDIR BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}"
               OUTPUT_VARIABLE conf_dir)
    cmake_path(ABSOLUTE_PATH QEL_INSTALL_SERVERCONFDIR BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}"
               OUTPUT_VARIABLE link_dir)
    file(RELATIVE_PATH QEL_INSTALL_CONFLINK "${link_dir}" "${conf_dir}/sftpAlgorithm.cfg")
endif()

# Programs find the libraries of their own prefix. Where the system looks anyway, a path in the
# program would only be in the way.
if(NOT CMAKE_INSTALL_FULL_LIBDIR IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
    file(RELATIVE_PATH QEL_INSTALL_RPATH "${CMAKE_INSTALL_FULL_BINDIR}"
         "${CMAKE_INSTALL_FULL_LIBDIR}")
    string(PREPEND QEL_INSTALL_RPATH "\$ORIGIN/")
endif()

# A shared library, its version links, and the link that the linker wants.
# qel_install_library(TARGET target COMPONENT component EXPORT name)
function(qel_install_library)
    cmake_parse_arguments(arg "" "TARGET;COMPONENT;EXPORT" "" ${ARGN})
    install(TARGETS ${arg_TARGET} EXPORT ${arg_EXPORT}
            LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
                    COMPONENT ${arg_COMPONENT} NAMELINK_COMPONENT development)
    install(EXPORT ${arg_EXPORT} NAMESPACE qelftpclient::
            DESTINATION "${QEL_INSTALL_CMAKEDIR}" COMPONENT development)
endfunction()

# Both ways that headers are named: "include/ftpclient.h" and <ftpclient.h>. The same two
# directories as in the source tree.
function(qel_exported_headers target)
    target_include_directories(${target} INTERFACE
        "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>"
        "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>"
        "$<INSTALL_INTERFACE:${QEL_INSTALL_INCLUDEDIR}/include>"
        "$<INSTALL_INTERFACE:${QEL_INSTALL_INCLUDEDIR}>")
endfunction()

# qel_install_pkgconfig(name): cmake/<name>.pc.in, with paths relative to its own place.
function(qel_install_pkgconfig name)
    file(RELATIVE_PATH QEL_PC_PREFIX "${CMAKE_INSTALL_PREFIX}/${QEL_INSTALL_PKGCONFIGDIR}"
         "${CMAKE_INSTALL_PREFIX}")
    string(REGEX REPLACE "/$" "" QEL_PC_PREFIX "${QEL_PC_PREFIX}")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in" "${name}.pc" @ONLY)
    install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${name}.pc"
            DESTINATION "${QEL_INSTALL_PKGCONFIGDIR}" COMPONENT development)
endfunction()
