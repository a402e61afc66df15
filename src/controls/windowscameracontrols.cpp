#include "controls/nativecameracontrols.h"

#include <QList>
#include <QString>

#include <dshow.h>
#include <objbase.h>
#include <oleauto.h>

namespace {
// Owns one COM reference: Release on reset, on assignment and at destruction.
template<typename T> class ComPtr
{
public:
    ComPtr() = default;
    ~ComPtr() { reset(); }
    ComPtr(const ComPtr &) = delete;
    ComPtr &operator=(const ComPtr &) = delete;

    void reset()
    {
        if (pointer) {
            T *released = pointer;
            pointer = nullptr;
            released->Release();
        }
    }
    // Releases what is held and hands out the slot for a call that returns a new reference.
    T **put()
    {
        reset();
        return &pointer;
    }
    void **putVoid() { return reinterpret_cast<void **>(put()); }
    T *get() const { return pointer; }
    T *operator->() const { return pointer; }
    explicit operator bool() const { return pointer != nullptr; }

private:
    T *pointer = nullptr;
};

class WindowsCameraControls final : public NativeCameraControls
{
public:
    WindowsCameraControls()
    {
        comInitialized = SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    }

    ~WindowsCameraControls() override
    {
        cameraControl.reset();
        videoProcAmp.reset();
        deviceFilter.reset();
        if (comInitialized)
            CoUninitialize();
    }

    WindowsCameraControls(const WindowsCameraControls &) = delete;
    WindowsCameraControls &operator=(const WindowsCameraControls &) = delete;

    bool open(const QString &description) override
    {
        error.clear();
        list.clear();
        cameraControl.reset();
        videoProcAmp.reset();
        deviceFilter.reset();

        ComPtr<ICreateDevEnum> deviceEnumerator;
        if (FAILED(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER,
                                    __uuidof(ICreateDevEnum), deviceEnumerator.putVoid()))) {
            error = QStringLiteral("无法创建 Windows 视频设备枚举器");
            return false;
        }

        // S_FALSE means the category is empty.
        ComPtr<IEnumMoniker> monikers;
        if (deviceEnumerator->CreateClassEnumerator(CLSID_VideoInputDeviceCategory, monikers.put(),
                                                    0)
            != S_OK) {
            error = QStringLiteral("Windows 没有返回视频输入设备");
            return false;
        }

        ComPtr<IMoniker> moniker;
        while (monikers->Next(1, moniker.put(), nullptr) == S_OK) {
            ComPtr<IPropertyBag> properties;
            if (FAILED(moniker->BindToStorage(nullptr, nullptr, __uuidof(IPropertyBag),
                                              properties.putVoid())))
                continue;
            VARIANT friendlyName;
            VariantInit(&friendlyName);
            const bool matches =
                SUCCEEDED(properties->Read(L"FriendlyName", &friendlyName, nullptr))
                && friendlyName.vt == VT_BSTR
                && QString::fromWCharArray(friendlyName.bstrVal)
                        .compare(description, Qt::CaseInsensitive)
                    == 0;
            if (matches)
                moniker->BindToObject(nullptr, nullptr, __uuidof(IBaseFilter),
                                      deviceFilter.putVoid());
            VariantClear(&friendlyName);
            if (matches)
                break;
        }

        if (!deviceFilter) {
            error = QStringLiteral("未找到与“%1”匹配的 DirectShow 设备").arg(description);
            return false;
        }

        // A camera may offer either interface, or both.
        deviceFilter->QueryInterface(__uuidof(IAMVideoProcAmp), videoProcAmp.putVoid());
        deviceFilter->QueryInterface(__uuidof(IAMCameraControl), cameraControl.putVoid());
        readControls();
        if (list.isEmpty()) {
            error = QStringLiteral("摄像头没有公开标准 UVC 控制参数");
            return false;
        }
        return true;
    }

    QList<NativeControl> controls() const override { return list; }

    bool setValue(int id, int value) override
    {
        const ControlDescriptor *descriptor = findControlDescriptor(id);
        if (!descriptor)
            return false;
        // VideoProcAmp_Flags_Manual and CameraControl_Flags_Manual are both 2.
        if (!setProperty(*descriptor, value, 2))
            return false;
        for (NativeControl &control : list) {
            if (control.id == id) {
                control.value = value;
                control.automatic = false;
            }
        }
        return true;
    }

    bool setAutomatic(int id, bool automatic) override
    {
        const ControlDescriptor *descriptor = findControlDescriptor(id);
        if (!descriptor)
            return false;
        for (NativeControl &control : list) {
            if (control.id != id)
                continue;
            // The value is passed along unchanged: DirectShow sets value and flags together.
            if (!setProperty(*descriptor, control.value, automatic ? 1 : 2))
                return false;
            control.automatic = automatic;
            return true;
        }
        return false;
    }

    QString lastError() const override { return error; }

private:
    void readControls()
    {
        for (const ControlDescriptor &descriptor : controlDescriptors) {
            long minimum = 0, maximum = 0, step = 0, defaultValue = 0, capabilities = 0;
            long value = 0, flags = 0;
            HRESULT rangeResult, valueResult;
            if (descriptor.controlInterface == ControlInterface::VideoProcAmp) {
                if (!videoProcAmp)
                    continue;
                rangeResult = videoProcAmp->GetRange(descriptor.property, &minimum, &maximum, &step,
                                                     &defaultValue, &capabilities);
                valueResult = videoProcAmp->Get(descriptor.property, &value, &flags);
            } else {
                if (!cameraControl)
                    continue;
                rangeResult = cameraControl->GetRange(descriptor.property, &minimum, &maximum,
                                                      &step, &defaultValue, &capabilities);
                valueResult = cameraControl->Get(descriptor.property, &value, &flags);
            }
            if (FAILED(rangeResult) || FAILED(valueResult) || maximum < minimum)
                continue;

            NativeControl control;
            control.id = descriptor.id;
            control.name = QString::fromUtf8(descriptor.name);
            control.minimum = minimum;
            control.maximum = maximum;
            control.step = step < 1 ? 1 : step;
            control.initialValue = value;
            control.value = value;
            control.supportsAutomatic = capabilities & 1;
            control.automatic = flags & 1;
            control.initialAutomatic = control.automatic;
            control.defaultValue = defaultValue;
            // GetRange gives no default for the flags. A UVC camera's automatic modes (exposure,
            // white balance, focus) ship switched on, so that is taken as the camera's default.
            control.defaultAutomatic = control.supportsAutomatic;
            // Anti-flicker is a choice among modes: those inside the range the camera reports.
            if (descriptor.id == PowerLineFrequency) {
                for (qint64 mode = minimum; mode <= maximum; mode += control.step)
                    control.choices.append(qint32(mode));
            }
            list.append(control);
        }
    }

    bool setProperty(const ControlDescriptor &descriptor, long value, long flags)
    {
        if (descriptor.controlInterface == ControlInterface::VideoProcAmp)
            return videoProcAmp && SUCCEEDED(videoProcAmp->Set(descriptor.property, value, flags));
        return cameraControl && SUCCEEDED(cameraControl->Set(descriptor.property, value, flags));
    }

    bool comInitialized = false;
    QString error;
    QList<NativeControl> list;
    ComPtr<IBaseFilter> deviceFilter;
    ComPtr<IAMVideoProcAmp> videoProcAmp;
    ComPtr<IAMCameraControl> cameraControl;
};
} // namespace

std::unique_ptr<NativeCameraControls> createNativeCameraControls()
{
    return std::make_unique<WindowsCameraControls>();
}
