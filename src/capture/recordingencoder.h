#pragma once

// Makes GStreamer pick our H.264 encoder for recordings (Qt 6.4's GStreamer back end only).
void registerRecordingEncoder();
