#pragma once

#include <QtGlobal>

// Qt 6.4 on Linux reaches cameras through its GStreamer back end, the source of most of the
// workarounds in this program; later versions and other systems use the FFmpeg back end (or the
// platform's own). The preprocessor form serves where GStreamer itself is linked.
#if defined(Q_OS_LINUX) && QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
#define TARVELO_GSTREAMER_QT64 1
#else
#define TARVELO_GSTREAMER_QT64 0
#endif

inline constexpr bool gstreamerQt64 = TARVELO_GSTREAMER_QT64;
