#include "app/mainwindow.h"

#include "controls/nativecameracontrols.h"

#include <QLabel>
#include <QSettings>

#include <functional>
#include <optional>
#include <utility>

namespace {
QString valueKey(int id)
{
    return QString::number(id) + QStringLiteral("/value");
}

QString automaticKey(int id)
{
    return QString::number(id) + QStringLiteral("/automatic");
}

// A control whose value and automatic switch were both refused is named once.
void addFailure(QStringList &failed, const QString &name)
{
    if (!failed.contains(name, Qt::CaseSensitive))
        failed.append(name);
}
// The refused controls' stored names with the count of accepted ones, or the plain success. The
// "、" joins the names in every language.
// Sends every control the value `target` gives and, where it gives one, the automatic mode; the
// names of those that refused go to `failed`. Returns how many took their value.
int sendToEveryControl(
    NativeCameraControls &controls, QStringList &failed,
    const std::function<std::pair<int, std::optional<bool>>(const NativeControl &)> &target)
{
    int taken = 0;
    for (const NativeControl &control : controls.controls()) {
        const auto [value, automatic] = target(control);
        if (controls.setValue(control.id, value))
            ++taken;
        else
            failed.append(control.name);
        if (automatic && !controls.setAutomatic(control.id, *automatic))
            addFailure(failed, control.name);
    }
    return taken;
}

QString outcome(const QStringList &failed, int succeeded, const QString &partial,
                const QString &success)
{
    if (failed.isEmpty())
        return success.arg(succeeded);
    return partial.arg(failed.join(QStringLiteral("、")), QString::number(succeeded));
}
} // namespace

QString MainWindow::presetGroupKey() const
{
    // Keyed by the description alone, so a camera finds its preset again on another port.
    const QByteArray encoded = currentDeviceName.toUtf8().toBase64(
        QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    return QStringLiteral("cameraPresets/%1").arg(QString::fromLatin1(encoded));
}

void MainWindow::saveControlPreset()
{
    if (!nativeControls || currentDeviceName.isEmpty())
        return;

    const QList<NativeControl> list = nativeControls->controls();
    QSettings settings;
    settings.beginGroup(presetGroupKey());
    // Controls the camera no longer lists must not survive from an earlier save.
    settings.remove(QString());
    settings.setValue(QStringLiteral("deviceName"), currentDeviceName);
    for (const NativeControl &control : list) {
        settings.setValue(valueKey(control.id), qint64(control.value));
        settings.setValue(automaticKey(control.id), control.automatic);
    }
    settings.endGroup();
    settings.sync();

    if (settings.status() != QSettings::NoError) {
        statusCard->setText(tr("保存失败：无法写入本机设置"));
        return;
    }
    statusCard->setText(tr("保存成功：已保存“%1”的 %2 项参数")
                            .arg(currentDeviceName, QString::number(list.size())));
}

void MainWindow::applyControlPreset()
{
    if (!nativeControls || currentDeviceName.isEmpty())
        return;

    QSettings settings;
    settings.beginGroup(presetGroupKey());
    if (!settings.contains(QStringLiteral("deviceName"))) {
        settings.endGroup();
        statusCard->setText(tr("当前摄像头还没有已保存的设置"));
        return;
    }

    QStringList failed;
    int applied = 0;
    for (const NativeControl &control : nativeControls->controls()) {
        if (!settings.contains(valueKey(control.id)))
            continue;
        const auto value = qint32(settings.value(valueKey(control.id)).toLongLong());
        const bool automatic = settings.value(automaticKey(control.id), false).toBool();

        // The value goes first: it puts the control into manual mode, which a stored automatic
        // flag then switches back.
        if (nativeControls->setValue(control.id, value))
            ++applied;
        else
            failed.append(control.name);
        if (control.supportsAutomatic && automatic
            && !nativeControls->setAutomatic(control.id, true))
            addFailure(failed, control.name);
    }
    settings.endGroup();
    rebuildHardwareControls();

    statusCard->setText(outcome(failed, applied, tr("部分参数未应用：%1（成功 %2 项）"),
                                tr("应用成功：已更新 %1 项参数")));
}

void MainWindow::restoreInitialControls()
{
    if (!nativeControls)
        return;

    QStringList failed;
    const int restored = sendToEveryControl(*nativeControls, failed, [](const NativeControl &c) {
        return std::pair(c.initialValue,
                         c.supportsAutomatic ? std::optional(c.initialAutomatic) : std::nullopt);
    });
    rebuildHardwareControls();

    statusCard->setText(outcome(failed, restored, tr("部分参数未恢复：%1（成功 %2 项）"),
                                tr("恢复成功：已恢复 %1 项初始设置")));
}

// Every control to the camera's own default, and its automatic mode back on where the camera
// starts in it.
void MainWindow::restoreCameraDefaults()
{
    if (!nativeControls)
        return;

    QStringList failed;
    const int set = sendToEveryControl(*nativeControls, failed, [](const NativeControl &c) {
        return std::pair(c.defaultValue,
                         c.supportsAutomatic && c.defaultAutomatic ? std::optional(true)
                                                                   : std::nullopt);
    });
    rebuildHardwareControls();

    statusCard->setText(failed.isEmpty()
                            ? tr("已恢复出厂默认：%1 项参数").arg(set)
                            : tr("出厂默认未全部设置：成功 %1 项，被拒绝 %2 项（%3）")
                                  .arg(QString::number(set), QString::number(failed.size()),
                                       failed.join(QStringLiteral("、"))));
}
