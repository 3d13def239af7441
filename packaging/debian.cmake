# SPDX-License-Identifier: MIT
#
# With TIMER_DEBIAN: the packages that scripts/package makes, one for each component and one
# with the debug symbols, which it leaves in the build folder.

# Each release has packages of its own, which differ in their version too: "+deb12", "+ubuntu24.04". They
# are in order that way, so that what comes with the next release of the system is newer. Not "~deb12", for
# which release pages write another name.
cmake_host_system_information(RESULT system QUERY DISTRIB_INFO)
string(REGEX REPLACE "^debian" "deb" release "${system_ID}${system_VERSION_ID}")
set(CPACK_DEBIAN_PACKAGE_VERSION "${PROJECT_VERSION}+${release}")

# What only these packages hold: changelog and licence in the forms that Debian asks for.
find_program(GZIP gzip REQUIRED)
set(changelog "${CMAKE_CURRENT_BINARY_DIR}/changelog")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # of SOURCE_DATE_EPOCH, where it is set
configure_file(debian/changelog.in "${changelog}" @ONLY)
execute_process(COMMAND "${GZIP}" -9nf "${changelog}" COMMAND_ERROR_IS_FATAL ANY)
set(CPACK_DEBIAN_CLIENT_PACKAGE_NAME timer-kelvaro)
set(CPACK_DEBIAN_DEVSERVER_PACKAGE_NAME timer-kelvaro-devserver)
set(CPACK_DEBIAN_DEBUG_PACKAGE_NAME timer-kelvaro-dbg)
set(CPACK_COMPONENTS_ALL client devserver debug)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER "${component}" upper)
    install(FILES debian/copyright "${changelog}.gz"
            DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}"
            COMPONENT ${component})
endforeach()
install(DIRECTORY "${PROJECT_BINARY_DIR}/debug" DESTINATION lib COMPONENT debug EXCLUDE_FROM_ALL)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_PACKAGE_CONTACT "The Timer.Kelvaro developers <timer-kelvaro@users.noreply.github.com>")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://github.com/timer-kelvaro/timer")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

# one_of(VARIABLE PACKAGE...): the first that is installed here, otherwise the last. The choice is made
# where the package is made: "a | b" is content with b where only a holds what is needed.
function(one_of variable)
    foreach(package IN LISTS ARGN)
        set(${variable} "${package}" PARENT_SCOPE)
        execute_process(COMMAND dpkg-query --show "--showformat=\${db:Status-Status}\n" "${package}"
                        OUTPUT_VARIABLE states ERROR_QUIET)
        if(states MATCHES "(^|\n)installed\n")
            break()
        endif()
    endforeach()
endfunction()
one_of(svg qt6-svg-plugins libqt6svg6)
one_of(zones tzdata-legacy tzdata) # where zones such as "Israel" are in a package of their own

# What the linker does not see, because it is opened at run time.
set(CPACK_DEBIAN_CLIENT_PACKAGE_DEPENDS
    "fonts-croscore"
    "libqt6sql6-sqlite"
    "libsecret-1-0"
    "qml6-module-qtqml"
    "qml6-module-qtqml-models"
    "qml6-module-qtqml-workerscript"
    "qml6-module-qtquick"
    "qml6-module-qtquick-controls"
    "qml6-module-qtquick-layouts"
    "qml6-module-qtquick-templates"
    "qml6-module-qtquick-window"
    "${svg}"
    "qt6-wayland"
    "${zones}")
set(CPACK_DEBIAN_CLIENT_PACKAGE_RECOMMENDS
    "ca-certificates"
    "default-dbus-session-bus | dbus-session-bus"
    "gnome-keyring | libpam-kwallet5"
    "xdg-utils")
set(CPACK_DEBIAN_CLIENT_PACKAGE_SUGGESTS "timer-kelvaro-devserver")
set(CPACK_DEBIAN_CLIENT_PACKAGE_SECTION misc)
set(CPACK_COMPONENT_CLIENT_DESCRIPTION "track working hours, online and offline
Start and stop a timer, add what was forgotten and correct descriptions, with
or without a connection to the server. Every change is kept encrypted on the
device before it counts as saved, and reaches the server exactly once when it
can be reached again. The window speaks Hebrew and English.")

set(CPACK_DEBIAN_DEVSERVER_PACKAGE_SOURCE timer-kelvaro)
set(CPACK_DEBIAN_DEVSERVER_PACKAGE_DEPENDS "libqt6sql6-sqlite" "${zones}")
set(CPACK_DEBIAN_DEVSERVER_PACKAGE_RECOMMENDS "libqt6sql6-psql")
set(CPACK_DEBIAN_DEVSERVER_PACKAGE_SUGGESTS "postgresql, timer-kelvaro")
set(CPACK_DEBIAN_DEVSERVER_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_DEVSERVER_DESCRIPTION "development server for Timer.Kelvaro
A small real server for developing Timer.Kelvaro and for trying it out, with
demo data, on SQLite or PostgreSQL. It lets everyone in on purpose, and is for
one machine and never for the open network.")

set(CPACK_DEBIAN_DEBUG_PACKAGE_SOURCE timer-kelvaro)
set(CPACK_DEBIAN_DEBUG_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEBUG_PACKAGE_DEPENDS
    "timer-kelvaro (= ${CPACK_DEBIAN_PACKAGE_VERSION}) | timer-kelvaro-devserver (= ${CPACK_DEBIAN_PACKAGE_VERSION})")
set(CPACK_DEBIAN_DEBUG_PACKAGE_SECTION debug)
set(CPACK_COMPONENT_DEBUG_DESCRIPTION "debug symbols for Timer.Kelvaro
What a debugger needs to name functions and lines of the program and of its
development server.")

foreach(relation DEPENDS RECOMMENDS)
    foreach(component CLIENT DEVSERVER)
        list(JOIN CPACK_DEBIAN_${component}_PACKAGE_${relation} ", " CPACK_DEBIAN_${component}_PACKAGE_${relation})
    endforeach()
endforeach()
include(CPack)
