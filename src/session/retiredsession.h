#pragma once

#include <memory>

class QCamera;
class QMediaCaptureSession;
class QMediaRecorder;

// Ends a camera and the capture session it streams into a moment after the session lost its
// video sink. Qt 6.4 puts a stand-in sink into the pipeline that must first catch up with the
// running stream; removing the camera before that deadlocks the pipeline on this thread.
// A recorder still finishing its file in that session (it has been told to stop) keeps both
// until it reports that it stopped: the file is only complete once its end went through.
void retireCaptureSession(std::unique_ptr<QMediaCaptureSession> session,
                          std::unique_ptr<QCamera> camera,
                          const QMediaRecorder *finishingRecorder = nullptr);

// Lets the retired sessions' recorders finish their files before the application object goes
// (at most a few seconds), and the sessions end where tearing them down is safe (not on Qt 6.4,
// where they are left to the end of the process). Destroyed with the application object,
// without their moment of settling, they could deadlock.
void finishRetiredSessions();
