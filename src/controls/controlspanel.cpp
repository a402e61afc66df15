#include "app/mainwindow.h"

#include "controls/nativecameracontrols.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

namespace {
QString displayName(const NativeControl &control)
{
    if (control.id == Gamma)
        return QStringLiteral("Gamma");
    if (const ControlDescriptor *descriptor = findControlDescriptor(control.id))
        return MainWindow::tr(descriptor->name);
    return control.name;
}

QLabel *createHint(const QString &text, QWidget *parent)
{
    auto *label = new QLabel(text, parent);
    label->setObjectName(QStringLiteral("secondaryText"));
    label->setWordWrap(true);
    return label;
}

// Sets a widget without its own valueChanged handler sending the value to the camera again.
template<typename Widget> void setQuietly(Widget *widget, int value)
{
    const QSignalBlocker blocker(widget);
    widget->setValue(value);
}
} // namespace

void MainWindow::rebuildHardwareControls()
{
    if (!colorExposureLayout || !nativeControls)
        return;

    clearLayout(colorExposureLayout);
    clearLayout(lensControlsLayout);

    const QList<NativeControl> list = nativeControls->controls();
    presetButtonsRow->setEnabled(!list.isEmpty());
    // The camera's own zoom row stands in for the Qt-level zoom slider.
    zoomSlider->parentWidget()->setVisible(!findControl(list, Zoom));

    lensControlsLayout->addWidget(createHint(tr("仅显示此摄像头支持的镜头参数。"), this));

    if (list.isEmpty()) {
        auto *error = new QLabel(nativeControls->lastError(), this);
        error->setWordWrap(true);
        colorExposureLayout->addWidget(error);
        return;
    }

    colorExposureLayout->addWidget(createHint(
        tr("已识别 %1 项可调参数，仅显示当前摄像头支持的项目。").arg(list.size()), this));

    for (const NativeControl &control : list) {
        QVBoxLayout *target =
            control.id == Zoom || control.id == Focus ? lensControlsLayout : colorExposureLayout;
        target->addWidget(createControlRow(control));
    }
}

QWidget *MainWindow::createControlRow(const NativeControl &control)
{
    const QString name = displayName(control);

    auto *row = new QWidget(this);
    auto *rowLayout = new QVBoxLayout(row);
    rowLayout->setContentsMargins(0, 2, 0, 2);
    auto *topLine = new QHBoxLayout;
    auto *title = new QLabel(name, row);

    auto *spinBox = new QSpinBox(row);
    spinBox->setRange(control.minimum, control.maximum);
    spinBox->setSingleStep(control.step);
    spinBox->setValue(control.value);
    spinBox->setToolTip(tr("范围：%1 ～ %2，初始值：%3")
                            .arg(control.minimum)
                            .arg(control.maximum)
                            .arg(control.initialValue));
    spinBox->setMaximumWidth(92);
    // A screen reader announces the control's name on its spin box.
    title->setBuddy(spinBox);

    auto *autoCheckBox = new QCheckBox(tr("自动"), row);
    autoCheckBox->setVisible(control.supportsAutomatic);
    autoCheckBox->setChecked(control.automatic);

    topLine->addWidget(title);
    topLine->addStretch();
    topLine->addWidget(spinBox);
    topLine->addWidget(autoCheckBox);

    auto *slider = new QSlider(Qt::Horizontal, row);
    slider->setRange(control.minimum, control.maximum);
    slider->setSingleStep(control.step);
    slider->setPageStep(control.step);
    slider->setValue(control.value);
    slider->setEnabled(!control.automatic);
    spinBox->setEnabled(!control.automatic);

    QLabel *hint = createHint(tr("自动调节中，关闭自动后可手动修改"), row);
    hint->setVisible(control.automatic);

    const int id = control.id;
    connect(slider, &QSlider::valueChanged, this, [this, id, name, spinBox](int value) {
        if (nativeControls->setValue(id, value))
            setQuietly(spinBox, value);
        else
            statusCard->setText(tr("%1设置失败，摄像头未接受该数值").arg(name));
    });
    connect(spinBox, &QSpinBox::valueChanged, this, [this, id, name, slider](int value) {
        if (nativeControls->setValue(id, value))
            setQuietly(slider, value);
        else
            statusCard->setText(tr("%1设置失败，摄像头未接受该数值").arg(name));
    });
    connect(autoCheckBox, &QCheckBox::toggled, this,
            [this, id, name, slider, spinBox, autoCheckBox, hint](bool automatic) {
                if (nativeControls->setAutomatic(id, automatic)) {
                    slider->setEnabled(!automatic);
                    spinBox->setEnabled(!automatic);
                    hint->setVisible(automatic);
                    return;
                }
                {
                    const QSignalBlocker blocker(autoCheckBox);
                    autoCheckBox->setChecked(!automatic);
                }
                statusCard->setText(tr("%1的自动模式切换失败").arg(name));
            });

    rowLayout->addLayout(topLine);
    rowLayout->addWidget(slider);
    rowLayout->addWidget(hint);
    return row;
}
