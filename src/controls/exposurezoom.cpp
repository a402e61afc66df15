#include "app/mainwindow.h"

#include "controls/nativecameracontrols.h"

#include <QCamera>
#include <QGroupBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

namespace {
// Hundredths, rounded half away from zero.
int toSliderValue(float value)
{
    const float scaled = value * 100.0f;
    return static_cast<int>(scaled >= 0.0f ? scaled + 0.5f : scaled - 0.5f);
}

QString labelText(float value)
{
    return QString::number(double(value), 'f', 1);
}

bool hasNativeZoom(const NativeCameraControls *controls)
{
    if (!controls)
        return false;
    return findControl(controls->controls(), Zoom) != nullptr;
}
} // namespace

void MainWindow::refreshExposureAndZoom()
{
    const QSignalBlocker exposureBlocker(exposureCompSlider);
    const QSignalBlocker zoomBlocker(zoomSlider);
    QWidget *exposureGroup = exposureCompSlider->parentWidget();
    QWidget *zoomGroup = zoomSlider->parentWidget();

    exposureCompSlider->setEnabled(false);
    zoomSlider->setEnabled(false);
    exposureCompValueLabel->setText(QStringLiteral("--"));
    zoomValueLabel->setText(QStringLiteral("--"));
    exposureGroup->hide();
    zoomGroup->hide();

    if (!camera)
        return;

    if (camera->supportedFeatures().testFlag(QCamera::Feature::ExposureCompensation)) {
        const float compensation = camera->exposureCompensation();
        exposureCompSlider->setRange(-400, 400);
        exposureCompSlider->setValue(toSliderValue(compensation));
        exposureCompSlider->setEnabled(true);
        exposureGroup->show();
        exposureCompValueLabel->setText(labelText(compensation));
    }

    const float minimumZoom = camera->minimumZoomFactor();
    const float maximumZoom = camera->maximumZoomFactor();
    if (!(maximumZoom > minimumZoom))
        return;

    zoomGroup->setVisible(!hasNativeZoom(nativeControls.get()));
    zoomSlider->setRange(toSliderValue(minimumZoom), toSliderValue(maximumZoom));
    zoomSlider->setValue(toSliderValue(camera->zoomFactor()));
    zoomSlider->setEnabled(true);
    zoomValueLabel->setText(labelText(camera->zoomFactor()) + QStringLiteral("×"));
}

void MainWindow::applyExposureCompensation(int sliderValue)
{
    if (!camera)
        return;
    const float compensation = sliderValue / 100.0f;
    camera->setExposureCompensation(compensation);
    exposureCompValueLabel->setText(labelText(compensation));
}

void MainWindow::applyZoom(int sliderValue)
{
    if (!camera)
        return;
    const float factor = sliderValue / 100.0f;
    camera->zoomTo(factor, 0.15f);
    zoomValueLabel->setText(labelText(factor) + QStringLiteral("×"));
}
