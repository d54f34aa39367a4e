# Debian packages of a build: `cpack -G DEB` in its folder, or tools/package, which builds first.
# velmaro-cli stands alone and needs no Qt; velmaro adds the window.
find_program(DPKG dpkg)
mark_as_advanced(DPKG)
if(NOT DPKG)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR Velmaro)
set(CPACK_PACKAGE_CONTACT "The Velmaro developers <velmaro@users.noreply.github.com>")
set(CPACK_PACKAGE_HOMEPAGE_URL https://github.com/velmaro/velmaro)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL terminal)
if(TARGET velmaro)
  list(APPEND CPACK_COMPONENTS_ALL window)
endif()
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL aarch64)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()
# The libraries that the programs link, with the versions that they need.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    ${CMAKE_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE}
    ${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()

set(about "Velmaro measures where a head points, with a camera or with head-tracking
headphones, and streams it as Open Sound Control over UDP, so that a sound
field or a view turns with the head.")

set(CPACK_DEBIAN_TERMINAL_PACKAGE_NAME velmaro-cli)
set(CPACK_DEBIAN_TERMINAL_PACKAGE_SECTION sound)
# What is loaded at run time, which no linker knows: playing files, and the demonstration's format.
set(CPACK_DEBIAN_TERMINAL_PACKAGE_DEPENDS "gstreamer1.0-plugins-base, gstreamer1.0-plugins-good")
# Formats that the good plug-ins leave out, such as H.264, and the symbols of the log and the status.
set(CPACK_DEBIAN_TERMINAL_PACKAGE_RECOMMENDS
  "gstreamer1.0-libav, gstreamer1.0-pipewire, fonts-noto-color-emoji | fonts-symbola")
set(CPACK_COMPONENT_TERMINAL_DESCRIPTION "${about}

This package holds the program for the terminal, which needs no display, and
the models and the demonstration clip that it works with.")

set(CPACK_DEBIAN_WINDOW_PACKAGE_NAME velmaro)
set(CPACK_DEBIAN_WINDOW_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_WINDOW_PACKAGE_DEPENDS
  "velmaro-cli (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_WINDOW_PACKAGE_RECOMMENDS 
  "qt6-wayland, qt6-translations-l10n, fonts-noto-color-emoji | fonts-symbola")
set(CPACK_COMPONENT_WINDOW_DESCRIPTION "${about}

This package adds one small window, in which tracking is started and stopped
and the zero pose is set.")

# Debian's own places and files, which a plain installation does without.
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/packaging/debian/stage.cmake)
set(CPACK_VELMARO_DEBIAN ${CMAKE_SOURCE_DIR}/packaging/debian)
set(CPACK_VELMARO_CHANGELOG ${CMAKE_SOURCE_DIR}/CHANGELOG.md)
include(CPack)
