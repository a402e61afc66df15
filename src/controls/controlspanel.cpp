#include "app/mainwindow.h"

#include "controls/nativecameracontrols.h"

#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>

namespace {
QString displayName(const NativeControl &control)
{
    if (control.id == Gamma)
        return QStringLiteral("Gamma");
    if (const ControlDescriptor *descriptor = findControlDescriptor(control.id))
        return MainWindow::tr(descriptor->name);
    return control.name;
}

// A selector's entry: the anti-flicker modes by name, anything else by its number.
QString choiceText(int id, qint32 value)
{
    if (id == PowerLineFrequency) {
        switch (value) {
        case PowerLineOff:
            return MainWindow::tr("关闭");
        case PowerLine50Hz:
            return QStringLiteral("50 Hz");
        case PowerLine60Hz:
            return QStringLiteral("60 Hz");
        case PowerLineAuto:
            return MainWindow::tr("自动");
        }
    }
    return QString::number(value);
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

// The value nearest the request that the control takes: inside its range, on its step.
qint32 alongStep(const NativeControl &control, int requested)
{
    const qint64 minimum = control.minimum, maximum = control.maximum, step = control.step;
    const qint64 offset = std::clamp<qint64>(requested, minimum, maximum) - minimum;
    qint64 aligned = minimum + (offset + step / 2) / step * step;
    if (aligned > maximum)
        aligned -= step;
    return qint32(aligned);
}

// A value the camera reports outside its own range is shown as it is, not clamped by the widget
// (and so never written back clamped).
template<typename Widget> void setUp(Widget *widget, const NativeControl &control)
{
    widget->setRange(std::min(control.minimum, control.value),
                     std::max(control.maximum, control.value));
    widget->setSingleStep(control.step);
    widget->setValue(control.value);
    widget->setEnabled(!control.automatic);
}
} // namespace

// From the moment a camera is being left until the next one's controls are open, the rows and
// presets would reach the old camera, or store its values under the new camera's name.
void MainWindow::lockHardwareControls()
{
    if (!presetButtonsRow)
        return;
    presetButtonsRow->setEnabled(false);
    for (QVBoxLayout *layout : {colorExposureLayout, lensControlsLayout}) {
        for (int i = 0; i < layout->count(); ++i) {
            if (QWidget *widget = layout->itemAt(i)->widget())
                widget->setEnabled(false);
        }
    }
}

void MainWindow::rebuildHardwareControls()
{
    if (!colorExposureLayout || !nativeControls)
        return;

    clearLayout(colorExposureLayout);
    clearLayout(lensControlsLayout);

    const QList<NativeControl> list = nativeControls->controls();
    presetButtonsRow->setEnabled(!list.isEmpty());
    placeZoomSlider();

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
        const bool lens = control.id == Zoom || control.id == Focus || control.id == Pan
            || control.id == Tilt || control.id == Roll || control.id == Iris;
        QVBoxLayout *target = lens ? lensControlsLayout : colorExposureLayout;
        target->addWidget(createControlRow(control));
    }
}

QWidget *MainWindow::createChoiceRow(const NativeControl &control)
{
    const QString name = displayName(control);
    auto *row = new QWidget(this);
    auto *rowLayout = new QHBoxLayout(row);
    rowLayout->setContentsMargins(0, 2, 0, 2);
    auto *title = new QLabel(name, row);
    auto *selector = new QComboBox(row);
    title->setBuddy(selector);
    QList<qint32> choices = control.choices;
    // A mode the camera is in without listing it is shown as it is.
    if (!choices.contains(control.value))
        choices.append(control.value);
    for (const qint32 value : std::as_const(choices))
        selector->addItem(choiceText(control.id, value), value);
    selector->setCurrentIndex(choices.indexOf(control.value));
    rowLayout->addWidget(title);
    rowLayout->addStretch();
    rowLayout->addWidget(selector);

    const int id = control.id;
    connect(selector, &QComboBox::currentIndexChanged, this, [this, id, name, selector](int index) {
        if (!nativeControls->setValue(id, selector->itemData(index).toInt()))
            statusCard->setText(tr("%1设置失败，摄像头未接受该数值").arg(name));
        if (const NativeControl *record = findControl(nativeControls->controls(), id)) {
            const QSignalBlocker blocker(selector);
            selector->setCurrentIndex(selector->findData(record->value));
        }
    });
    return row;
}

QWidget *MainWindow::createControlRow(const NativeControl &control)
{
    if (!control.choices.isEmpty())
        return createChoiceRow(control);
    const QString name = displayName(control);

    auto *row = new QWidget(this);
    auto *rowLayout = new QVBoxLayout(row);
    rowLayout->setContentsMargins(0, 2, 0, 2);
    auto *topLine = new QHBoxLayout;
    auto *title = new QLabel(name, row);

    auto *spinBox = new QSpinBox(row);
    setUp(spinBox, control);
    // A typed number goes to the camera once complete, not digit by digit.
    spinBox->setKeyboardTracking(false);
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
    setUp(slider, control);
    slider->setPageStep(control.step);

    QLabel *hint = createHint(tr("自动调节中，关闭自动后可手动修改"), row);
    hint->setVisible(control.automatic);

    const int id = control.id;
    // Both widgets end up showing the record, which holds what the camera took: the value on its
    // step, the driver's rounding, or the earlier value after a refusal.
    const auto showRecord = [this, id, slider, spinBox] {
        if (const NativeControl *record = findControl(nativeControls->controls(), id)) {
            setQuietly(slider, record->value);
            setQuietly(spinBox, record->value);
        }
    };
    const auto send = [this, id, name, showRecord](int requested) {
        const QList<NativeControl> list = nativeControls->controls();
        const NativeControl *record = findControl(list, id);
        if (!record)
            return;
        const qint32 value = alongStep(*record, requested);
        if ((value != record->value || record->automatic) && !nativeControls->setValue(id, value))
            statusCard->setText(tr("%1设置失败，摄像头未接受该数值").arg(name));
        showRecord();
    };
    connect(slider, &QSlider::valueChanged, this, send);
    connect(spinBox, &QSpinBox::valueChanged, this, send);
    connect(autoCheckBox, &QCheckBox::toggled, this,
            [this, id, name, slider, spinBox, autoCheckBox, hint, showRecord](bool automatic) {
                if (nativeControls->setAutomatic(id, automatic)) {
                    slider->setEnabled(!automatic);
                    spinBox->setEnabled(!automatic);
                    hint->setVisible(automatic);
                    showRecord();
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
