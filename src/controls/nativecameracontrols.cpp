#include "nativecameracontrols.h"

#include <QtGlobal>

// The names are the panel's row titles too, so the translation tools pick them up here; "Gamma"
// reads the same in every language. The order is the panel's: anti-flicker after backlight
// compensation, pan, tilt, roll and iris after zoom and focus.
const ControlDescriptor controlDescriptors[controlCount] = {
    {Brightness, QT_TRANSLATE_NOOP("MainWindow", "亮度"), ControlInterface::VideoProcAmp, 0},
    {Contrast, QT_TRANSLATE_NOOP("MainWindow", "对比度"), ControlInterface::VideoProcAmp, 1},
    {Hue, QT_TRANSLATE_NOOP("MainWindow", "色相"), ControlInterface::VideoProcAmp, 2},
    {Saturation, QT_TRANSLATE_NOOP("MainWindow", "饱和度"), ControlInterface::VideoProcAmp, 3},
    {Sharpness, QT_TRANSLATE_NOOP("MainWindow", "锐度"), ControlInterface::VideoProcAmp, 4},
    {Gamma, "Gamma", ControlInterface::VideoProcAmp, 5},
    {WhiteBalance, QT_TRANSLATE_NOOP("MainWindow", "白平衡"), ControlInterface::VideoProcAmp, 7},
    {BacklightCompensation, QT_TRANSLATE_NOOP("MainWindow", "背光补偿"),
     ControlInterface::VideoProcAmp, 8},
    // The UVC proxy's power-line-frequency property, past the ones DirectShow names.
    {PowerLineFrequency, QT_TRANSLATE_NOOP("MainWindow", "防闪烁"), ControlInterface::VideoProcAmp,
     13},
    {Gain, QT_TRANSLATE_NOOP("MainWindow", "增益"), ControlInterface::VideoProcAmp, 9},
    {Zoom, QT_TRANSLATE_NOOP("MainWindow", "变焦"), ControlInterface::CameraControl, 3},
    {Exposure, QT_TRANSLATE_NOOP("MainWindow", "曝光"), ControlInterface::CameraControl, 4},
    {Focus, QT_TRANSLATE_NOOP("MainWindow", "对焦"), ControlInterface::CameraControl, 6},
    {Pan, QT_TRANSLATE_NOOP("MainWindow", "水平转动"), ControlInterface::CameraControl, 0},
    {Tilt, QT_TRANSLATE_NOOP("MainWindow", "垂直转动"), ControlInterface::CameraControl, 1},
    {Roll, QT_TRANSLATE_NOOP("MainWindow", "旋转"), ControlInterface::CameraControl, 2},
    {Iris, QT_TRANSLATE_NOOP("MainWindow", "光圈"), ControlInterface::CameraControl, 5},
};

const ControlDescriptor *findControlDescriptor(int id)
{
    for (const ControlDescriptor &descriptor : controlDescriptors) {
        if (descriptor.id == id)
            return &descriptor;
    }
    return nullptr;
}

const NativeControl *findControl(const QList<NativeControl> &controls, int id)
{
    for (const NativeControl &control : controls) {
        if (control.id == id)
            return &control;
    }
    return nullptr;
}
