#pragma once

#include <QCameraDevice>
#include <QList>

// The cameras offered to the user, in the multimedia layer's order.
QList<QCameraDevice> listedCameras();

// Whether the system has `camera` as its default, also where Qt lists it twice and reports only
// the entry that is not offered as the default.
bool isSystemDefault(const QCameraDevice &camera);
