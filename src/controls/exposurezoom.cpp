#include "controls/exposurezoom.h"

#include "app/mainwindow.h"
#include "controls/nativecameracontrols.h"

#include <QCamera>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

#include <cmath>
#include <optional>

namespace {
// Hundredths, rounded half away from zero; nothing for a value no slider can hold, such as an
// infinite zoom factor.
std::optional<int> toSliderValue(float value)
{
    const float scaled = value * 100.0f;
    constexpr float limit = 1.0e9f;
    if (!std::isfinite(scaled) || scaled > limit || scaled < -limit)
        return std::nullopt;
    return static_cast<int>(scaled >= 0.0f ? scaled + 0.5f : scaled - 0.5f);
}

QString labelText(float value)
{
    return QString::number(double(value), 'f', 1);
}

QString zoomText(float factor)
{
    return labelText(factor) + QStringLiteral("×");
}

// A slider the user holds is left where it is; its label still shows what the camera took.
void follow(QSlider *slider, int value)
{
    if (!slider->isSliderDown())
        slider->setValue(value);
}
} // namespace

// Back ends may report both only once the camera runs, and change them while it does: every such
// report comes back here.
void MainWindow::refreshExposureAndZoom()
{
    ExposureAndZoom reported;
    if (camera) {
        QCamera *source = camera.get();
        const auto refresh = &MainWindow::refreshExposureAndZoom;
        connect(source, &QCamera::activeChanged, this, refresh, Qt::UniqueConnection);
        connect(source, &QCamera::supportedFeaturesChanged, this, refresh, Qt::UniqueConnection);
        connect(source, &QCamera::exposureCompensationChanged, this, refresh, Qt::UniqueConnection);
        connect(source, &QCamera::minimumZoomFactorChanged, this, refresh, Qt::UniqueConnection);
        connect(source, &QCamera::maximumZoomFactorChanged, this, refresh, Qt::UniqueConnection);
        connect(source, &QCamera::zoomFactorChanged, this, refresh, Qt::UniqueConnection);
        reported.compensationOffered =
            source->supportedFeatures().testFlag(QCamera::Feature::ExposureCompensation);
        reported.compensation = source->exposureCompensation();
        reported.minimumZoom = source->minimumZoomFactor();
        reported.maximumZoom = source->maximumZoomFactor();
        reported.zoom = source->zoomFactor();
    }
    showExposureAndZoom(reported);
}

void MainWindow::showExposureAndZoom(const ExposureAndZoom &reported)
{
    // Nothing done here reaches the camera.
    const QSignalBlocker exposureBlocker(exposureCompSlider);
    const QSignalBlocker zoomBlocker(zoomSlider);

    const std::optional<int> compensation = toSliderValue(reported.compensation);
    const bool exposureShown = reported.compensationOffered && compensation;
    exposureCompSlider->setEnabled(exposureShown);
    exposureCompSlider->parentWidget()->setVisible(exposureShown);
    exposureCompValueLabel->setText(exposureShown ? labelText(reported.compensation)
                                                  : QStringLiteral("--"));
    if (exposureShown) {
        exposureCompSlider->setRange(-400, 400);
        follow(exposureCompSlider, *compensation);
    }

    const std::optional<int> minimum = toSliderValue(reported.minimumZoom);
    const std::optional<int> maximum = toSliderValue(reported.maximumZoom);
    const std::optional<int> zoom = toSliderValue(reported.zoom);
    const bool zoomOffered = minimum && maximum && zoom && *maximum > *minimum;
    zoomSlider->setEnabled(zoomOffered);
    zoomValueLabel->setText(zoomOffered ? zoomText(reported.zoom) : QStringLiteral("--"));
    placeZoomSlider();
    if (zoomOffered) {
        zoomSlider->setRange(*minimum, *maximum);
        follow(zoomSlider, *zoom);
    }
}

// The Qt-level zoom slider shows where Qt offers a zoom range (the slider is then enabled), unless
// the camera's own zoom row stands in for it.
void MainWindow::placeZoomSlider()
{
    const bool nativeZoom =
        nativeControls && findControl(nativeControls->controls(), Zoom) != nullptr;
    zoomSlider->parentWidget()->setVisible(zoomSlider->isEnabled() && !nativeZoom);
}

void MainWindow::applyExposureCompensation(int sliderValue)
{
    if (!camera)
        return;
    camera->setExposureCompensation(sliderValue / 100.0f);
    exposureCompValueLabel->setText(labelText(camera->exposureCompensation()));
}

void MainWindow::applyZoom(int sliderValue)
{
    if (!camera)
        return;
    camera->zoomTo(sliderValue / 100.0f, 0.15f);
    zoomValueLabel->setText(zoomText(camera->zoomFactor()));
}
