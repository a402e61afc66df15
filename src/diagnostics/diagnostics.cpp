#include "app/mainwindow.h"

// The diagnostics report comes with its own work; the button is wired already.
void MainWindow::exportDiagnostics() { }
