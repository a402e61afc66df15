#pragma once

#include "mainwindowtestaccess.h"
#include "virtualcamera.h"

#include <functional>

// Runs `work` in a window fed by the given cameras, tuned and drawn on the user's display as the
// program is, in a home of its own (default settings); returns its result.
int withWindow(int argc, char *argv[], const QList<VirtualCamera::Camera> &cameras,
               const std::function<int(MainWindow &, MainWindowTestAccess &)> &work);
