#include "app/mainwindow.h"

// Snapshots, recording and the output folders come with the capture work; the buttons are
// wired already so the window is complete.
void MainWindow::takeSnapshot() { }

void MainWindow::toggleRecording() { }

void MainWindow::updateRecorderState() { }

void MainWindow::showRecorderError() { }

void MainWindow::openPicturesFolder() { }

void MainWindow::openVideosFolder() { }

void MainWindow::updateRecordingDuration(qint64) { }
