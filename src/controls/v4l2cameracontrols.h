#pragma once

#include "controls/nativecameracontrols.h"
#include "controls/v4l2deviceio.h"

#include <QList>
#include <QString>

#include <memory>

// The Linux backend: the controls of a V4L2 video-capture node, with the automatic modes that
// V4L2 keeps in separate companion controls (autogain, exposure_auto, ...). The node chosen by
// open() stays open until the next open(), destruction, or the camera's unplugging.
class V4l2CameraControls final : public NativeCameraControls
{
public:
    explicit V4l2CameraControls(std::unique_ptr<V4l2DeviceIo> io);
    ~V4l2CameraControls() override;

    V4l2CameraControls(const V4l2CameraControls &) = delete;
    V4l2CameraControls &operator=(const V4l2CameraControls &) = delete;

    bool open(const QString &description) override;
    QList<NativeControl> controls() const override;
    bool setValue(int id, int value) override;
    bool setAutomatic(int id, bool automatic) override;
    QString lastError() const override;

private:
    struct Entry
    {
        NativeControl control;
        quint32 valueControl = 0;
        quint32 autoControl = 0; // 0 when there is no usable companion
        qint32 manualMode = 0; // the companion's value for manual and for automatic
        qint32 automaticMode = 1;
    };

    void closeDevice();
    void readControls();
    bool probeCompanion(quint32 autoControl, Entry *entry);
    bool readControl(quint32 id, qint32 *value);
    bool writeControl(quint32 id, qint32 *value);
    int request(unsigned long code, void *argument);
    bool isWritable(quint32 id);
    bool writeValue(const Entry &entry, qint32 *value);
    bool writeMode(const Entry &entry, bool automatic);
    Entry *findEntry(int id);

    std::unique_ptr<V4l2DeviceIo> io;
    int fd = -1;
    std::unique_ptr<QObject> hangUpWatch;
    QString error;
    QList<Entry> entries;
};
