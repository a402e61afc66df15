#pragma once

#include <QList>
#include <QString>

#include <memory>

// The hardware controls. The values are the keys of stored presets, so they never change; the
// last five came later, so presets saved before them still apply.
enum ControlId : int {
    Brightness = 0,
    Contrast = 1,
    Hue = 2,
    Saturation = 3,
    Sharpness = 4,
    Gamma = 5,
    WhiteBalance = 6,
    BacklightCompensation = 7,
    Gain = 8,
    Zoom = 9,
    Exposure = 10,
    Focus = 11,
    Pan = 12,
    Tilt = 13,
    Roll = 14,
    Iris = 15,
    PowerLineFrequency = 16,
};

// The modes of PowerLineFrequency, the same numbers in UVC, DirectShow and V4L2.
enum PowerLineMode : int { PowerLineOff = 0, PowerLine50Hz = 1, PowerLine60Hz = 2, PowerLineAuto = 3 };

enum class ControlInterface : int { VideoProcAmp = 0, CameraControl = 1 };

struct ControlDescriptor
{
    int id;
    const char *name; // UTF-8, the untranslated stored name
    ControlInterface controlInterface;
    int property; // DirectShow property number
};

inline constexpr int controlCount = 17;
extern const ControlDescriptor controlDescriptors[controlCount];

// Returns the descriptor for id, or nullptr when id is not one of the controls.
const ControlDescriptor *findControlDescriptor(int id);

struct NativeControl
{
    int id = 0;
    QString name;
    qint32 minimum = 0;
    qint32 maximum = 0;
    qint32 step = 1;
    qint32 initialValue = 0;
    qint32 value = 0;
    bool supportsAutomatic = false;
    bool automatic = false;
    bool initialAutomatic = false;
    // The camera's own defaults, for "Camera Defaults".
    qint32 defaultValue = 0;
    bool defaultAutomatic = false;
    // The values a selector offers, as the camera lists them; empty for a control set on a scale.
    QList<qint32> choices;
};

// The record with this id in the list, or nullptr when the device does not expose the control.
const NativeControl *findControl(const QList<NativeControl> &controls, int id);

// The camera's hardware image controls, reached below Qt Multimedia through the platform's own
// camera stack. All calls are synchronous and made on the GUI thread.
class NativeCameraControls
{
public:
    virtual ~NativeCameraControls() = default;

    // Binds the device whose name equals description (case-insensitive) and reads its controls.
    // Whatever was open before is closed, whatever the outcome.
    virtual bool open(const QString &description) = 0;
    virtual QList<NativeControl> controls() const = 0;
    virtual bool setValue(int id, int value) = 0;
    virtual bool setAutomatic(int id, bool automatic) = 0;
    virtual QString lastError() const = 0;
};

// The platform's backend: DirectShow on Windows, V4L2 on Linux, null elsewhere.
std::unique_ptr<NativeCameraControls> createNativeCameraControls();
