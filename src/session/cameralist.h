#pragma once

#include <QCameraDevice>
#include <QList>
#include <QMediaDevices>

// Of the cameras the multimedia layer lists (`all`), those offered to the user, in its order.
QList<QCameraDevice> listedCameras(const QList<QCameraDevice> &all = QMediaDevices::videoInputs());

// Whether the system has `camera` as its default, also where Qt lists it twice and reports only
// the entry that is not offered as the default. The back end builds each listing anew (every
// camera with its formats): callers that ask for several cameras pass the one they have.
bool isSystemDefault(const QCameraDevice &camera,
                     const QList<QCameraDevice> &all = QMediaDevices::videoInputs());
