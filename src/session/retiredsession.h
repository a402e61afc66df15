#pragma once

#include <memory>

class QCamera;
class QMediaCaptureSession;

// Ends a camera and the capture session it streams into a moment after the session lost its
// video sink. Qt 6.4 puts a stand-in sink into the pipeline that must first catch up with the
// running stream; removing the camera before that deadlocks the pipeline on this thread.
void retireCaptureSession(std::unique_ptr<QMediaCaptureSession> session,
                          std::unique_ptr<QCamera> camera);
