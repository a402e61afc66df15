#include "app/mainwindow.h"

// The hardware controls panel and its presets arrive with the controls panel work; until then a
// started camera keeps the panel's hint text and the preset row stays disabled.
void MainWindow::rebuildHardwareControls() { }

void MainWindow::saveControlPreset() { }

void MainWindow::applyControlPreset() { }

void MainWindow::restoreInitialControls() { }
