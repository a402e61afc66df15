#include "windowmodes.h"

#include "app/mainwindow.h"

#include <QPushButton>
#include <QStatusBar>
#include <QVariant>

namespace {
const char visibleBeforeFullscreenProperty[] = "visibleBeforeFullscreen";
}

void toggleFullScreen(QMainWindow *window, QWidget *headerBar, QWidget *sidePanel,
                      QPushButton *panelToggleButton, QPushButton *fullscreenButton)
{
    const bool wasFullScreen = window->isFullScreen();
    if (!wasFullScreen) {
        sidePanel->setProperty(visibleBeforeFullscreenProperty, !sidePanel->isHidden());
        window->showFullScreen();
    } else {
        window->showNormal();
    }

    headerBar->setVisible(wasFullScreen);
    window->statusBar()->setVisible(wasFullScreen);
    panelToggleButton->setVisible(wasFullScreen);
    sidePanel->setVisible(wasFullScreen
                          && sidePanel->property(visibleBeforeFullscreenProperty).toBool());
    fullscreenButton->setText(wasFullScreen ? MainWindow::tr("全屏预览")
                                            : MainWindow::tr("退出全屏 (Esc)"));
}

void toggleSidePanel(QWidget *sidePanel, QPushButton *panelToggleButton)
{
    const bool wasHidden = sidePanel->isHidden();
    sidePanel->setVisible(wasHidden);
    panelToggleButton->setText(wasHidden ? MainWindow::tr("收起面板") : MainWindow::tr("展开面板"));
}
