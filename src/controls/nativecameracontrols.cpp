#include "nativecameracontrols.h"

const ControlDescriptor controlDescriptors[controlCount] = {
    {Brightness, "亮度", ControlInterface::VideoProcAmp, 0},
    {Contrast, "对比度", ControlInterface::VideoProcAmp, 1},
    {Hue, "色相", ControlInterface::VideoProcAmp, 2},
    {Saturation, "饱和度", ControlInterface::VideoProcAmp, 3},
    {Sharpness, "锐度", ControlInterface::VideoProcAmp, 4},
    {Gamma, "Gamma", ControlInterface::VideoProcAmp, 5},
    {WhiteBalance, "白平衡", ControlInterface::VideoProcAmp, 7},
    {BacklightCompensation, "背光补偿", ControlInterface::VideoProcAmp, 8},
    {Gain, "增益", ControlInterface::VideoProcAmp, 9},
    {Zoom, "变焦", ControlInterface::CameraControl, 3},
    {Exposure, "曝光", ControlInterface::CameraControl, 4},
    {Focus, "对焦", ControlInterface::CameraControl, 6},
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
