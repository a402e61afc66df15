# A Debian package made with `cpack -G DEB`. Library dependencies are read off the binary by
# dpkg-shlibdeps; what follows are the run-time plug-ins the program loads that no library pulls in.
set(CPACK_PACKAGE_NAME tarvelo)
set(CPACK_PACKAGE_VENDOR "${TARVELO_ORGANISATION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "USB camera preview and professional controls")
set(CPACK_PACKAGE_DESCRIPTION "Tarvelo previews USB (UVC) cameras, adjusts their hardware image \
controls and keeps them per camera, takes PNG snapshots and records MP4 video.")
set(CPACK_PACKAGE_HOMEPAGE_URL "${TARVELO_HOMEPAGE}")
set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
set(CPACK_STRIP_FILES ON)
# Only the application: the build also holds tests, benchmarks and the virtual camera.
set(CPACK_INSTALL_CMAKE_PROJECTS "${PROJECT_BINARY_DIR};${PROJECT_NAME};Unspecified;/")

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${TARVELO_ORGANISATION} <tarvelo@${organisationLower}.example>")
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

# Qt's camera and recording go through GStreamer on Qt 6.4: v4l2src, the converters and mp4mux, and
# x264 for the H.264 the recorder asks for. The SVG image plug-in draws the spin-box arrows; the
# interface is written in Chinese.
cmake_host_system_information(RESULT debianCodename QUERY DISTRIB_VERSION_CODENAME)
set(pluginPackages
    "gstreamer1.0-plugins-base" "gstreamer1.0-plugins-good" "gstreamer1.0-plugins-ugly"
    "fonts-noto-cjk | fonts-wqy-microhei | fonts-wqy-zenhei")
if(debianCodename STREQUAL "bookworm")
    list(APPEND pluginPackages "libqt6svg6")
else()
    # From Debian 13 the SVG image plug-in has a package of its own.
    list(APPEND pluginPackages "qt6-svg-plugins")
endif()
list(JOIN pluginPackages ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
# Native windows on a Wayland desktop; without it Qt runs through XWayland.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland")

include(CPack)
