#pragma once

class QMainWindow;
class QPushButton;
class QWidget;

// Full screen keeps only the preview column: header, status bar, side panel and its toggle go.
void toggleFullScreen(QMainWindow *window, QWidget *headerBar, QWidget *sidePanel,
                      QPushButton *panelToggleButton, QPushButton *fullscreenButton);
void toggleSidePanel(QWidget *sidePanel, QPushButton *panelToggleButton);
