#include "app/mainwindow.h"

#include <QDesktopServices>
#include <QDir>
#include <QLabel>
#include <QUrl>

QString MainWindow::outputDirectory(QStandardPaths::StandardLocation location)
{
    return QDir(QStandardPaths::writableLocation(location)).filePath(QStringLiteral("Tarvelo"));
}

bool MainWindow::makeOutputFolder(const QDir &folder)
{
    return folder.exists() || folder.mkpath(QStringLiteral("."));
}

bool MainWindow::openOutputFolder(const QString &path, const QString &kindName)
{
    const QDir folder(path);
    if (!makeOutputFolder(folder)) {
        statusCard->setText(tr("无法创建%1保存目录").arg(kindName));
        return false;
    }
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(folder.absolutePath()))) {
        statusCard->setText(tr("无法打开%1保存目录").arg(kindName));
        return false;
    }
    statusCard->setText(tr("已打开%1保存目录").arg(kindName));
    return true;
}

void MainWindow::openPicturesFolder()
{
    openOutputFolder(outputDirectory(QStandardPaths::PicturesLocation), tr("图片"));
}

void MainWindow::openVideosFolder()
{
    openOutputFolder(outputDirectory(QStandardPaths::MoviesLocation), tr("视频"));
}
