// The hardware controls panel and the presets, over a recording NativeCameraControls and, once,
// over the V4L2 backend with its simulated device.

#include "controls/v4l2cameracontrols.h"
#include "fakev4l2device.h"
#include "mainwindowtestaccess.h"
#include "panelrows.h"
#include "testmain.h"

#include <QSettings>

#include <functional>

namespace {
NativeControl control(int id, bool supportsAutomatic = false, bool automatic = false)
{
    NativeControl c;
    c.id = id;
    c.name = QString::fromUtf8(findControlDescriptor(id)->name);
    c.maximum = 100;
    c.initialValue = c.value = 50;
    c.supportsAutomatic = supportsAutomatic;
    c.automatic = c.initialAutomatic = automatic;
    return c;
}

QList<NativeControl> allTwelve()
{
    QList<NativeControl> list;
    for (const ControlDescriptor &descriptor : controlDescriptors)
        list.append(control(descriptor.id));
    list[Hue].supportsAutomatic = true; // offered, but manual now
    list[WhiteBalance] = control(WhiteBalance, true, true);
    list[Gain].automatic = true; // automatic although the device claims no such mode
    return list;
}

// Logs every call and refuses those in `refused` ("value 0 5") or all of a kind ("value 0").
class RecordingControls final : public NativeCameraControls
{
public:
    QList<NativeControl> list;
    QString error;
    QStringList calls, refused;

    bool open(const QString &) override { return !list.isEmpty(); }
    QList<NativeControl> controls() const override { return list; }
    QString lastError() const override { return error; }
    bool setValue(int id, int value) override
    {
        return call(QStringLiteral("value %1 %2").arg(id).arg(value), id,
                    [=](NativeControl &c) { c.value = value, c.automatic = false; });
    }
    bool setAutomatic(int id, bool automatic) override
    {
        return call(QStringLiteral("auto %1 %2").arg(id).arg(automatic), id,
                    [=](NativeControl &c) { c.automatic = automatic; });
    }

private:
    bool call(const QString &text, int id, const std::function<void(NativeControl &)> &apply)
    {
        calls.append(text);
        if (refused.contains(text) || refused.contains(text.section(QLatin1Char(' '), 0, 1)))
            return false;
        for (NativeControl &c : list) {
            if (c.id == id)
                apply(c);
        }
        return true;
    }
};

} // namespace

using Action = std::function<void(QWidget *row)>;
Q_DECLARE_METATYPE(Action)

class TestControlsPanel : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        TestEnvironment::clearSettings();
        window = std::make_unique<MainWindow>();
        access = std::make_unique<MainWindowTestAccess>(*window);
    }

    void panel()
    {
        show(allTwelve());
        QCOMPARE(describe(access->colorExposureLayout()),
                 QStringList({"已识别 12 项可调参数，仅显示当前摄像头支持的项目。", "亮度 50",
                              "对比度 50", "色相 50 [auto off]", "饱和度 50", "锐度 50", "Gamma 50",
                              "白平衡 50 [auto on] locked hint", "背光补偿 50",
                              "增益 50 locked hint", "曝光 50"}));
        QCOMPARE(describe(access->lensControlsLayout()),
                 QStringList({"仅显示此摄像头支持的镜头参数。", "变焦 50", "对焦 50"}));
        QVERIFY(access->presetButtonsRow()->isEnabled());
        QVERIFY(access->zoomGroup()->isHidden());
        auto *spinBox = row(Brightness)->findChild<QSpinBox *>();
        QCOMPARE(spinBox->toolTip(), QStringLiteral("范围：0 ～ 100，初始值：50"));
        QCOMPARE(spinBox->maximumWidth(), 92);
        QCOMPARE(row(Brightness)->findChild<QLabel *>()->buddy(), spinBox);
        QVERIFY(controls->calls.isEmpty()); // building sends nothing

        // Without controls: the backend's reason, no presets, the Qt-level zoom back.
        show({}, QStringLiteral("Cam"), QStringLiteral("未找到与“Cam”匹配的 DirectShow 设备"));
        QCOMPARE(describe(access->colorExposureLayout()),
                 QStringList("未找到与“Cam”匹配的 DirectShow 设备"));
        QCOMPARE(describe(access->lensControlsLayout()),
                 QStringList("仅显示此摄像头支持的镜头参数。"));
        QVERIFY(!access->presetButtonsRow()->isEnabled());
        QVERIFY(!access->zoomGroup()->isHidden());
    }

    void edits_data()
    {
        QTest::addColumn<Action>("action");
        QTest::addColumn<QStringList>("refused");
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("status");

        const QStringList none;
        const auto spinTo = [](int value) {
            return Action([=](QWidget *row) { row->findChild<QSpinBox *>()->setValue(value); });
        };
        const auto toggleAuto = [](QWidget *row) {
            row->findChild<QCheckBox *>()->click();
        };
        QTest::newRow("slider drag") << Action([](QWidget *row) {
            auto *slider = row->findChild<QSlider *>();
            slider->setSliderDown(true);
            for (int position : {52, 55, 55, 61})
                slider->setSliderPosition(position);
            slider->setSliderDown(false);
        }) << none << QStringList({"value 3 52", "value 3 55", "value 3 61"})
                                     << "饱和度 61 [auto off]" << QString();
        QTest::newRow("spin box") << spinTo(70) << none << QStringList("value 3 70")
                                  << "饱和度 70 [auto off]" << QString();
        QTest::newRow("refused value") << spinTo(70) << QStringList("value 3")
                                       << QStringList("value 3 70") << "饱和度 70|50 [auto off]"
                                       << "饱和度设置失败，摄像头未接受该数值";
        QTest::newRow("auto on") << Action(toggleAuto) << none << QStringList("auto 3 1")
                                 << "饱和度 50 [auto on] locked hint" << QString();
        QTest::newRow("refused auto switch") << Action(toggleAuto) << QStringList("auto 3")
                                             << QStringList("auto 3 1") << "饱和度 50 [auto off]"
                                             << "饱和度的自动模式切换失败";
    }

    void edits()
    {
        QFETCH(Action, action);
        QFETCH(QStringList, refused);
        QFETCH(QStringList, calls);
        QFETCH(QString, row);
        QFETCH(QString, status);

        show({control(Saturation, true)});
        controls->refused = refused;
        access->statusCard()->clear();
        action(this->row(Saturation));
        QCOMPARE(controls->calls, calls);
        QCOMPARE(describe(access->colorExposureLayout()).constLast(), row);
        QCOMPARE(access->status(), status);
    }

    void apply_data()
    {
        QTest::addColumn<QVariantMap>("stored");
        QTest::addColumn<QStringList>("calls");
        QTest::addColumn<QString>("status");

        const QVariantMap device {{"deviceName", "Cam"}};
        QTest::newRow("no preset")
            << QVariantMap() << QStringList() << "当前摄像头还没有已保存的设置";
        QTest::newRow("device name only") << device << QStringList() << "应用成功：已更新 0 项参数";
        QVariantMap mixed = device;
        mixed.insert({{"0/value", 7}, // no automatic flag: manual
                      {"2/value", 9},
                      {"2/automatic", true},
                      {"3/value", 11},
                      {"3/automatic", true}, // refused twice, named once
                      {"8/value", "abc"},
                      {"8/automatic", "yes"}, // no automatic mode to switch to
                      {"10/value", qint64(1) << 32 | 5},
                      {"11/value", 1}}); // a control this camera does not list
        QTest::newRow("mixed") << mixed
                               << QStringList({"value 0 7", "value 2 9", "auto 2 1", "value 3 11",
                                               "auto 3 1", "value 8 0", "value 10 5"})
                               << "部分参数未应用：饱和度（成功 4 项）";
    }

    void apply()
    {
        QFETCH(QVariantMap, stored);
        QFETCH(QStringList, calls);
        QFETCH(QString, status);

        const QString otherPreset = QStringLiteral("cameraPresets/T3RoZXI/0/value");
        QSettings().setValue(otherPreset, 3);
        show({control(Brightness), control(Hue, true), control(Saturation, true), control(Gain),
              control(Exposure, true)});
        QSettings settings;
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            settings.setValue(access->presetGroupKey() + '/' + it.key(), it.value());
        controls->refused = QStringList({"value 3", "auto 3"});
        click(QStringLiteral("应用参数"));
        QCOMPARE(controls->calls, calls);
        QCOMPARE(access->status(), status);
        QCOMPARE(QSettings().value(otherPreset).toInt(), 3);
    }

    void saveAndRestore_data()
    {
        QTest::addColumn<QString>("description");
        QTest::addColumn<QString>("group"); // empty: not checked
        QTest::newRow("plain") << "Integrated Camera"
                               << "cameraPresets/SW50ZWdyYXRlZCBDYW1lcmE";
        QTest::newRow("URL-safe") << "Webcam >>>"
                                  << "cameraPresets/V2ViY2FtID4-Pg";
        QTest::newRow("separators") << "Cam / USB \\ 2" << QString();
        QTest::newRow("non-Latin, long") << QString(300, QChar(0x6444)) << QString();
    }

    void saveAndRestore()
    {
        QFETCH(QString, description);
        QFETCH(QString, group);
        show({control(Brightness), control(Hue, true), control(Focus, true, true)}, description);
        if (!group.isEmpty())
            QCOMPARE(access->presetGroupKey(), group);
        controls->setValue(Brightness, 60);
        click(QStringLiteral("保存参数"));
        controls->list.removeLast();
        click(QStringLiteral("保存参数"));
        QCOMPARE(access->status(),
                 QStringLiteral("保存成功：已保存“%1”的 2 项参数").arg(description));
        QSettings settings;
        settings.beginGroup(access->presetGroupKey());
        QStringList keys = settings.allKeys();
        keys.sort();
        QCOMPARE(keys,
                 QStringList({"0/automatic", "0/value", "2/automatic", "2/value", "deviceName"}));
        QCOMPARE(settings.value("0/value").toInt(), 60);
        QCOMPARE(settings.value("deviceName").toString(), description);

        controls->calls.clear();
        controls->refused = QStringList({"value 0", "auto 2"});
        click(QStringLiteral("恢复初始设置"));
        QCOMPARE(controls->calls, QStringList({"value 0 50", "value 2 50", "auto 2 0"}));
        QCOMPARE(access->status(), QStringLiteral("部分参数未恢复：亮度、色相（成功 1 项）"));
        controls->refused.clear();
        click(QStringLiteral("恢复初始设置"));
        QCOMPARE(access->status(), QStringLiteral("恢复成功：已恢复 2 项初始设置"));
    }

    void v4l2BackendBehindThePanel()
    {
        // Exposure found in shutter priority: exposure time is the user's, the iris automatic.
        auto io = std::make_unique<FakeV4l2Io>();
        FakeV4l2Io *device = io.get();
        FakeNode &node = device->add("video0", "Cam");
        FakeControl *mode = node.find(V4L2_CID_EXPOSURE_AUTO);
        mode->menu = 0b0111;
        mode->value = V4L2_EXPOSURE_SHUTTER_PRIORITY;
        auto backend = std::make_unique<V4l2CameraControls>(std::move(io));
        QVERIFY(backend->open(QStringLiteral("Cam")));
        access->useNativeControls(std::move(backend), QStringLiteral("Cam"));

        row(Exposure)->findChild<QSpinBox *>()->setValue(300);
        row(Exposure)->findChild<QCheckBox *>()->click();
        click(QStringLiteral("恢复初始设置"));
        QCOMPARE(device->writes.mid(0, 3),
                 QStringList({"exposure_auto=2", "exposure=300", "exposure_auto=0"}));
        QCOMPARE(mode->value, V4L2_EXPOSURE_SHUTTER_PRIORITY);
        QCOMPARE(node.find(V4L2_CID_EXPOSURE_ABSOLUTE)->value, 166);
        QVERIFY(describe(access->colorExposureLayout()).contains("曝光 166 [auto off]"));
    }

private:
    void show(const QList<NativeControl> &list, const QString &description = QStringLiteral("Cam"),
              const QString &error = {})
    {
        auto recording = std::make_unique<RecordingControls>();
        controls = recording.get();
        controls->list = list;
        controls->error = error;
        access->useNativeControls(std::move(recording), description);
    }
    QWidget *row(int id) const
    {
        return findRow(window.get(),
                       id == Gamma ? QStringLiteral("Gamma")
                                   : QString::fromUtf8(findControlDescriptor(id)->name));
    }
    void click(const QString &text)
    {
        for (auto *button : access->presetButtonsRow()->findChildren<QPushButton *>()) {
            if (button->text() == text)
                button->click();
        }
    }

    std::unique_ptr<MainWindow> window;
    std::unique_ptr<MainWindowTestAccess> access;
    RecordingControls *controls = nullptr;
};

TARVELO_TEST_MAIN(TestControlsPanel)
#include "tst_controlspanel.moc"
