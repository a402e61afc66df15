#include "session/camerapermission.h"

#include "app/mainwindow.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

namespace {
CameraPermission::Checker checkerForTesting = nullptr;
CameraPermission::Requester requesterForTesting = nullptr;
} // namespace

void CameraPermission::setPlatformForTesting(Checker checker, Requester requester)
{
    checkerForTesting = checker;
    requesterForTesting = requester;
}

#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
#include <QPermissions>

namespace {
CameraPermission::Status fromQt(Qt::PermissionStatus status)
{
    switch (status) {
    case Qt::PermissionStatus::Granted:
        return CameraPermission::Status::Granted;
    case Qt::PermissionStatus::Denied:
        return CameraPermission::Status::Denied;
    case Qt::PermissionStatus::Undetermined:
        break;
    }
    return CameraPermission::Status::Undetermined;
}

CameraPermission::Status platformCheck()
{
    return fromQt(qApp->checkPermission(QCameraPermission {}));
}

void platformRequest(QObject *context, std::function<void(CameraPermission::Status)> handler)
{
    qApp->requestPermission(QCameraPermission {}, context,
                            [handler = std::move(handler)](const QPermission &permission) {
                                handler(fromQt(permission.status()));
                            });
}
} // namespace

#else

namespace {
CameraPermission::Status platformCheck()
{
    return CameraPermission::Status::Granted;
}

void platformRequest(QObject *context, std::function<void(CameraPermission::Status)> handler)
{
    QTimer::singleShot(
        0, context, [handler = std::move(handler)] { handler(CameraPermission::Status::Granted); });
}
} // namespace

#endif

CameraPermission::Status CameraPermission::check()
{
    return checkerForTesting ? checkerForTesting() : platformCheck();
}

void CameraPermission::request(QObject *context, std::function<void(Status)> handler)
{
    if (requesterForTesting)
        requesterForTesting(context, std::move(handler));
    else
        platformRequest(context, std::move(handler));
}

void MainWindow::requestCameraPermission()
{
    const auto refuse = [this](const QString &message) {
        statusCard->setText(message);
        deviceCombo->setEnabled(false);
        formatCombo->setEnabled(false);
        primaryButton->setEnabled(false);
    };

    switch (CameraPermission::check()) {
    case CameraPermission::Status::Granted:
        refreshDevices();
        return;
    case CameraPermission::Status::Denied:
        refuse(tr("摄像头权限已被拒绝。请在系统设置的“隐私与安全性 → 摄像头”中允许本软件。"));
        return;
    case CameraPermission::Status::Undetermined:
        statusCard->setText(tr("正在请求摄像头权限…"));
        CameraPermission::request(this, [this, refuse](CameraPermission::Status status) {
            if (status != CameraPermission::Status::Granted) {
                refuse(tr("未获得摄像头权限，请允许访问后重新启动软件。"));
                return;
            }
            statusCard->setText(tr("摄像头权限已允许，正在查找设备…"));
            refreshDevices();
        });
        return;
    }
}
